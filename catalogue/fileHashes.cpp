#include "fileHashes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "kmhash.h"
#include "walk.h"

namespace catalogue {
namespace {

// A gap that the library leaves out is read beside when it is no longer; else the digest waits until the reads come
// back to it, or the end.
constexpr uint64_t kLongestGap = uint64_t{4} << 20;
constexpr size_t kBlock = size_t{256} << 10;

// Bytes read, 0 at the end of the file, or below 0.
int64_t readAll(int descriptor, uint64_t offset, void* buffer, size_t count) {
  for (;;) {
    const ssize_t n = pread(descriptor, buffer, count, static_cast<off_t>(offset));
    if (n >= 0 || errno != EINTR) return n;
  }
}

// ---- The digest of a whole file, of bytes that come in some order ----

class Digester {
 public:
  explicit Digester(int descriptor) : descriptor_(descriptor) { XXH3_128bits_reset(&state_); }

  // These bytes of the file were read.
  void take(uint64_t offset, const void* bytes, uint64_t count) {
    if (offset > done_ && offset - done_ <= kLongestGap) readUpTo(offset);
    if (offset > done_ || offset + count <= done_) return;
    const uint64_t skipped = done_ - offset;
    update(static_cast<const char*>(bytes) + skipped, count - skipped);
  }

  // Of a file of this size; nothing when it cannot be read so far.
  std::string finish(uint64_t size) {
    readUpTo(size);
    if (failed_ || done_ < size) return "";
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(&state_));
    return {reinterpret_cast<const char*>(canonical.digest), sizeof canonical.digest};
  }

 private:
  void update(const void* bytes, uint64_t count) {
    XXH3_128bits_update(&state_, bytes, static_cast<size_t>(count));
    done_ += count;
  }

  void readUpTo(uint64_t end) {
    if (!buffer_) buffer_ = std::make_unique<char[]>(kBlock);
    while (!failed_ && done_ < end) {
      const auto count = static_cast<size_t>(std::min<uint64_t>(end - done_, kBlock));
      const int64_t n = readAll(descriptor_, done_, buffer_.get(), count);
      failed_ = n < 0;
      if (n <= 0) return;
      update(buffer_.get(), static_cast<uint64_t>(n));
    }
  }

  XXH3_state_t state_;
  const int descriptor_;
  std::unique_ptr<char[]> buffer_;
  uint64_t done_ = 0;
  bool failed_ = false;
};

struct DigestedFile {
  Digester digester;
  int descriptor;
  const std::atomic<bool>* isStopped;
};

int64_t readDigested(void* user, uint64_t offset, void* buffer, uint32_t count) {
  auto* file = static_cast<DigestedFile*>(user);
  if (file->isStopped != nullptr && *file->isStopped) return HASHCREATE_ERROR;
  const int64_t n = readAll(file->descriptor, offset, buffer, count);
  if (n > 0) file->digester.take(offset, buffer, static_cast<uint64_t>(n));
  return n < 0 ? int64_t{HASHCREATE_ERROR} : n;
}

// ---- Hashes ----

class Maker {
 public:
  Maker(const Descriptor& file, FileHashes* made)
      : file_(file), path_(pathOf(file)), size_(static_cast<uint64_t>(made->stat.size)), made_(made) {}

  int sampled() {
    char text[KMHASH_TEXT_SIZE];
    const int code = hash(KMHASH_PREFER_VERSION_4, text);
    if (code == HASHCREATE_SUCCESS) add(kKindSampled, text);
    return code;
  }

  int sampledAndWhole(const std::atomic<bool>* isStopped) {
    char text[KMHASH_TEXT_SIZE], whole[KMHASH_TEXT_SIZE];
    DigestedFile file{Digester(file_.number()), file_.number(), isStopped};
    const KmhashSource source{sizeof source, size_, &file, readDigested};
    const int code = kmhashHashSourceBoth(&source, KMHASH_PREFER_VERSION_4, text, whole, sizeof text);
    if (code == HASHCREATE_SUCCESS) {
      add(kKindSampled, text);
      add(kKindWhole, whole);
    }
    if (isStopped == nullptr || !*isStopped) made_->digest = file.digester.finish(size_);
    return code;
  }

  // Where the sampled one is version 3's there is nothing to add.
  void version3() {
    char text[KMHASH_TEXT_SIZE];
    if (hash(0, text) != HASHCREATE_SUCCESS) return;
    const HashRecord record = hashRecordOf({text, KMHASH_TEXT_SIZE - 1});
    if (record.text != made_->hashes.front().second.text) made_->hashes.emplace_back(kKindVersion3, record);
  }

  void quick() {
    char text[KMHASH_TEXT_SIZE];
    if (path_.empty()) return;
    if (createQuickFileHash(path_.c_str(), text, sizeof text, nullptr) == HASHCREATE_SUCCESS) add(kKindQuick, text);
  }

 private:
  int hash(uint32_t flags, char* text) const {
    if (!path_.empty()) return kmhashHashFile(path_.c_str(), flags, text, KMHASH_TEXT_SIZE);
    const auto readAt = [](void* user, uint64_t offset, void* buffer, uint32_t count) -> int64_t {
      return readAll(static_cast<const Descriptor*>(user)->number(), offset, buffer, count);
    };
    const KmhashSource source{sizeof source, size_, const_cast<Descriptor*>(&file_), readAt};
    return kmhashHashSource(&source, flags, text, KMHASH_TEXT_SIZE);
  }

  void add(std::string_view kind, const char* text) {
    made_->hashes.emplace_back(kind, hashRecordOf({text, KMHASH_TEXT_SIZE - 1}));
  }

  const Descriptor& file_;
  const std::string path_;  // opens it again; empty where the system has none
  const uint64_t size_;
  FileHashes* made_;
};

void makeHashes(const Descriptor& file, const HashWishes& wishes, const std::atomic<bool>* isStopped,
                FileHashes* made) {
  Maker maker(file, made);
  made->result = wishes.whole ? maker.sampledAndWhole(isStopped) : maker.sampled();
  const bool isUnsupported = made->result == HASHCREATE_NON_SUPPORTED;
  if (made->result == HASHCREATE_SUCCESS) made->status = kStatusHashed;
  if (isUnsupported) made->status = kStatusUnsupported;
  if (made->result == HASHCREATE_SUCCESS && wishes.version3) maker.version3();
  if (isUnsupported && wishes.quick) maker.quick();
  const bool lacksDigest = wishes.whole && made->digest.empty();
  if (!tellsOfSystem(made->result) && !lacksDigest) made->recorded = wishes.recorded();
}

FileHashes ofEmpty(const FileStat& stat, const HashWishes& wishes) {
  FileHashes made;
  made.stat = stat;
  made.status = kStatusUnsupported;
  made.result = HASHCREATE_NON_SUPPORTED;
  made.recorded = wishes.recorded();
  if (wishes.whole) made.digest = Digester(-1).finish(0);
  return made;
}

}  // namespace

int64_t HashWishes::recorded() const {
  return kRecordedSampled | (version3 ? kRecordedVersion3 : 0) | (whole ? kRecordedWhole : 0) |
         (quick ? kRecordedQuick : 0);
}

FileHashes hashesOf(const DirectoryTree& tree, const std::string& path, const FileStat& known, const HashWishes& wishes,
                    const std::atomic<bool>* isStopped) {
  if (known.size == 0) return ofEmpty(known, wishes);
  FileHashes made;
  made.stat = known;
  const Descriptor file = tree.openToRead(path);
  if (file.number() < 0) {
    made.error = errno;
    made.isGone = saysNotThere(errno);
    made.result = HASHCREATE_FILE_NOTFOUND;
    return made;
  }
  made.isGone = !fileStatOf(file.number(), &made.stat);
  if (made.isGone) return made;
  if (made.stat.size == 0) return ofEmpty(made.stat, wishes);
  makeHashes(file, wishes, isStopped, &made);
  FileStat after;
  made.changedMeanwhile =
      !fileStatOf(file.number(), &after) || after.size != made.stat.size || after.mtimeNs != made.stat.mtimeNs;
  return made;
}

bool tellsOfSystem(int code) {
  return code == HASHCREATE_ERROR || code == HASHCREATE_MEM_ALLOC_ERROR || code == HASHCREATE_FILE_NOTFOUND;
}

std::string digestOf(int descriptor) {
  FileStat stat;
  return fileStatOf(descriptor, &stat) ? Digester(descriptor).finish(static_cast<uint64_t>(stat.size)) : "";
}

}  // namespace catalogue

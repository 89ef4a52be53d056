#include "hashFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "hashText.h"
#include "kmhash.h"

namespace cli {
namespace {

using Cause = Failure::Cause;

// What a result code says of a file that was to be hashed and could be opened.
struct ResultWords {
  int code;
  const char* words;
};
constexpr ResultWords kWords[] = {
    {HASHCREATE_FILE_NOTFOUND, "damaged: a directory in it is out of place"},
    {HASHCREATE_FORMAT_ERROR, "its structure is damaged, or of a kind that is not supported"},
    {HASHCREATE_READ_ERROR, "truncated: it ends before its structure does"},
    {HASHCREATE_SEEK_ERROR, "truncated or damaged: its structure points outside the file"},
    {HASHCREATE_SHA1_ERROR, "its digest could not be finished"},
    {HASHCREATE_NON_SUPPORTED, "not a supported format, or too damaged to be recognised"},
    {HASHCREATE_INVALID_PARAM, "its size is unknown, or it lists too many pictures"},
    {HASHCREATE_REACH_EOF, "truncated: it ends where its structure goes on"},
    {HASHCREATE_BROKEN_CONTENT, "damaged: its content is broken"},
    {HASHCREATE_MEM_ALLOC_ERROR, "damaged, or too large for the memory there is"},
    {HASHCREATE_ERROR, "cannot be read: the system reported an error"},
};

const char* wordsFor(int code) {
  for (const ResultWords& row : kWords) {
    if (row.code == code) return row.words;
  }
  return "failed";
}

Failure refusal(const struct stat& status) {
  if (S_ISREG(status.st_mode) && status.st_size > 0) return {};
  if (S_ISREG(status.st_mode)) return {HASHCREATE_NON_SUPPORTED, "is empty, there is nothing to hash", Cause::empty};
  if (S_ISDIR(status.st_mode)) return {HASHCREATE_NON_SUPPORTED, "is a directory", Cause::directory};
  const char* kind = "is a device or socket";
  if (S_ISFIFO(status.st_mode)) kind = "is a pipe";
  if (S_ISLNK(status.st_mode)) kind = "is a symbolic link by now";
  return {HASHCREATE_NON_SUPPORTED, kind + std::string("; only regular files can be hashed")};
}

// The library says that a file could not be opened, the system says why.
Failure failureOf(const std::string& path, int code, int error) {
  if (code == HASHCREATE_FILE_NOTFOUND) {
    if (error == ENOMEM) return systemFailure(code, error);
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return systemFailure(code, errno);
    close(descriptor);
  }
  return hashFailure(code);
}

}  // namespace

Failure hashFailure(int code) {
  return {code, wordsFor(code), code == HASHCREATE_NON_SUPPORTED ? Cause::unsupported : Cause::other};
}

Failure systemFailure(int code, int error) {
  return {code, std::generic_category().message(error), error == ENOENT ? Cause::missing : Cause::other};
}

const char* resultName(int code) {
  const char* name = kmhashResultName(code);
  return name != nullptr ? name : "unknown result code";
}

std::string describe(const Failure& failure) { return failure.words + " (" + resultName(failure.code) + ")"; }

Failure newerHash() { return {HASHCREATE_NON_SUPPORTED, "the hash was made by a newer kmhash"}; }

Failure refusal(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) return refusal(status);
  Failure failure = systemFailure(HASHCREATE_FILE_NOTFOUND, errno);
  if (path == "-") failure.words += "; standard input has no size and cannot be hashed";
  return failure;
}

Failure refusal(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 ? refusal(status) : systemFailure(HASHCREATE_FILE_NOTFOUND, errno);
}

Method methodOf(const std::string& hash) {
  Method method;
  method.quick = isQuick(hash);
  if (isWhole(hash)) method.flags |= KMHASH_WHOLE;
  if (getAlgorithmMajorVersionFromHash(hash.c_str()) == 4) method.flags |= KMHASH_PREFER_VERSION_4;
  return method;
}

HashAnswer hashFile(const std::string& path, const Method& method) {
  Failure failure = refusal(path);
  return failure.code == 0 ? hashRegularFile(path, method) : HashAnswer{std::move(failure), "", ""};
}

HashAnswer hashRegularFile(const std::string& path, const Method& method) {
  char text[KMHASH_TEXT_SIZE], whole[KMHASH_TEXT_SIZE];
  errno = 0;
  int code = HASHCREATE_SUCCESS;
  if (method.quick) {
    code = createQuickFileHash(path.c_str(), text, sizeof text, nullptr);
  } else if (method.both) {
    code = kmhashHashFileBoth(path.c_str(), method.flags, text, whole, sizeof text);
  } else {
    code = kmhashHashFile(path.c_str(), method.flags, text, sizeof text);
  }
  if (code != HASHCREATE_SUCCESS) return {failureOf(path, code, errno), "", ""};
  return {{}, writtenForm(text), method.both ? writtenForm(whole) : ""};
}

IdentifyAnswer identifyRegularFile(const std::string& path, uint32_t flags) {
  errno = 0;
  const int id = kmhashIdentifyFile(path.c_str(), flags);
  if (id > 0) return {{}, id};
  if (id < 0 && id != HASHCREATE_INVALID_HASH) return {failureOf(path, id, errno), 0};
  return {{HASHCREATE_INVALID_HASH, "recognised, but there is nothing in it that has an algorithm"}, 0};
}

VerifyAnswer verifyFile(const std::string& path, const std::string& hash) {
  if (isNewer(hash)) return {newerHash(), 0};
  if (Failure failure = refusal(path); failure.code != 0) return {std::move(failure), 0};
  if (lacksLabels(hash)) {  // the library takes such a text for none
    HashAnswer now = hashRegularFile(path, methodOf(hash));
    return now.failure.code != 0 ? VerifyAnswer{std::move(now.failure), 0}
                                 : VerifyAnswer{{}, differenceFlags(hash, now.hash)};
  }
  errno = 0;
  const int flags = kmhashVerifyFile(path.c_str(), hash.c_str());
  return flags < 0 ? VerifyAnswer{failureOf(path, flags, errno), 0} : VerifyAnswer{{}, flags};
}

}  // namespace cli

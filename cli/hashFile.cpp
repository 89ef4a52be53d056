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

struct ResultText {
  int code;
  const char* name;
  const char* words;  // said of a file that was to be hashed
};
constexpr ResultText kResults[] = {
    {HASHCREATE_SUCCESS, "HASHCREATE_SUCCESS", "all well"},
    {HASHCREATE_FILE_NOTFOUND, "HASHCREATE_FILE_NOTFOUND", "cannot be opened"},
    {HASHCREATE_BUFFER_ERROR, "HASHCREATE_BUFFER_ERROR", "buffer too small"},
    {HASHCREATE_FORMAT_ERROR, "HASHCREATE_FORMAT_ERROR", "damaged: its structure breaks the rules of its format"},
    {HASHCREATE_PARAM_ERROR, "HASHCREATE_PARAM_ERROR", "wrong parameter"},
    {HASHCREATE_READ_ERROR, "HASHCREATE_READ_ERROR", "truncated: it ends before its structure does"},
    {HASHCREATE_SEEK_ERROR, "HASHCREATE_SEEK_ERROR", "truncated or damaged: its structure points outside the file"},
    {HASHCREATE_NULLCHK_ERROR, "HASHCREATE_NULLCHK_ERROR", "missing parameter"},
    {HASHCREATE_SHA1_ERROR, "HASHCREATE_SHA1_ERROR", "its digest could not be finished"},
    {HASHCREATE_NON_SUPPORTED, "HASHCREATE_NON_SUPPORTED", "not a supported format, or too damaged to be recognised"},
    {HASHCREATE_INVALID_PARAM, "HASHCREATE_INVALID_PARAM", "its size is unknown, or it lists too many pictures"},
    {HASHCREATE_INVALID_HASH, "HASHCREATE_INVALID_HASH", "no hash text"},
    {HASHCREATE_REACH_EOF, "HASHCREATE_REACH_EOF", "truncated: it ends where its structure goes on"},
    {HASHCREATE_BROKEN_CONTENT, "HASHCREATE_BROKEN_CONTENT", "damaged: its content is broken"},
    {HASHCREATE_MEM_ALLOC_ERROR, "HASHCREATE_MEM_ALLOC_ERROR", "damaged, or too large for the memory there is"},
    {HASHCREATE_ERROR, "HASHCREATE_ERROR", "cannot be read: the system reported an error"},
};

const ResultText& resultText(int code) {
  for (const ResultText& row : kResults) {
    if (row.code == code) return row;
  }
  static constexpr ResultText kUnknown{0, "unknown result code", "failed"};
  return kUnknown;
}

std::string systemWords(int error) { return std::generic_category().message(error); }

const char* kindWords(mode_t mode) {
  if (S_ISDIR(mode)) return "is a directory; with -r the files in it are taken";
  if (S_ISFIFO(mode)) return "is a pipe; only regular files can be hashed";
  return "is a device or socket; only regular files can be hashed";
}

// Opening a pipe would wait for its writer, so that everything but a regular file is refused unopened.
Failure refuseUnlessRegular(const std::string& path, bool* missing) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    *missing = errno == ENOENT;
    std::string words = systemWords(errno);
    if (path == "-") words += "; standard input has no size and cannot be hashed";
    return {HASHCREATE_FILE_NOTFOUND, std::move(words)};
  }
  if (!S_ISREG(status.st_mode)) return {HASHCREATE_NON_SUPPORTED, kindWords(status.st_mode)};
  return {};
}

// The library says that the file could not be opened; the system says why.
std::string whyNotOpened(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return systemWords(errno);
  close(descriptor);
  return resultText(HASHCREATE_FILE_NOTFOUND).words;
}

Failure failureOf(const std::string& path, int code) {
  if (code == HASHCREATE_FILE_NOTFOUND) return {code, whyNotOpened(path)};
  struct stat status {};
  if (code == HASHCREATE_NON_SUPPORTED && stat(path.c_str(), &status) == 0 && status.st_size == 0) {
    return {code, "is empty"};
  }
  return {code, resultText(code).words};
}

}  // namespace

const char* resultName(int code) { return resultText(code).name; }

std::string describe(const Failure& failure) { return failure.words + " (" + resultName(failure.code) + ")"; }

HashAnswer hashFile(const std::string& path, int32_t mode, FileKind kind) {
  HashAnswer answer;
  if (kind != FileKind::regular) answer.failure = refuseUnlessRegular(path, &answer.missing);
  if (answer.failure.code != 0) return answer;
  char text[KMHASH_TEXT_SIZE];
  const int code = createHashEx(path.c_str(), text, sizeof text, nullptr, mode);
  if (code == HASHCREATE_SUCCESS) {
    answer.hash = writtenForm(text);
  } else {
    answer.failure = failureOf(path, code);
  }
  return answer;
}

IdentifyAnswer identifyFile(const std::string& path, FileKind kind) {
  IdentifyAnswer answer;
  bool missing = false;
  if (kind != FileKind::regular) answer.failure = refuseUnlessRegular(path, &missing);
  if (answer.failure.code != 0) return answer;
  answer.algorithmId = getAlgorithmId(path.c_str(), nullptr);
  if (answer.algorithmId == HASHCREATE_INVALID_HASH || answer.algorithmId == 0) {
    answer.failure = {HASHCREATE_INVALID_HASH, "recognised, but there is nothing in it that has an algorithm"};
  } else if (answer.algorithmId < 0) {
    answer.failure = failureOf(path, answer.algorithmId);
  }
  return answer;
}

}  // namespace cli

// Hashing and identifying a file, with failures in words.
#pragma once

#include <cstdint>
#include <string>

namespace cli {

// Why something has no answer: a result code of the library and what it means here.
struct Failure {
  int code = 0;  // 0: no failure
  std::string words;
};

// "No such file or directory (HASHCREATE_FILE_NOTFOUND)"
std::string describe(const Failure& failure);

// The name of a result code, "HASHCREATE_SUCCESS" for 0.
const char* resultName(int code);

enum class FileKind {
  unknown,  // anything: only a regular file is opened
  regular,  // known to be one
};

struct HashAnswer {
  Failure failure;
  std::string hash;      // written form
  bool missing = false;  // the failure is that there is no such file
};
HashAnswer hashFile(const std::string& path, int32_t mode, FileKind kind = FileKind::unknown);

struct IdentifyAnswer {
  Failure failure;
  int algorithmId = 0;
};
IdentifyAnswer identifyFile(const std::string& path, FileKind kind = FileKind::unknown);

}  // namespace cli

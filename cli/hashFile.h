// Hashing and identifying a file, with failures in words.
#pragma once

#include <cstdint>
#include <string>

namespace cli {

// Why something has no answer: a result code of the library and what it means here.
struct Failure {
  enum class Cause { other, missing, directory, empty, unsupported };
  int code = 0;  // 0: no failure
  std::string words;
  Cause cause = Cause::other;
};

// For an errno of opening or reading something.
Failure systemFailure(int code, int error);

// "No such file or directory (HASHCREATE_FILE_NOTFOUND)"
std::string describe(const Failure& failure);

const char* resultName(int code);

struct HashAnswer {
  Failure failure;
  std::string hash;  // written form
};

// Why it is not to be hashed: everything but a regular file that is not empty. (Opening a pipe would wait for its
// writer.)
Failure refusal(const std::string& path);
Failure refusal(int descriptor);

HashAnswer hashFile(const std::string& path, int32_t mode);

// As hashFile, for a file that was found not to be refused.
HashAnswer hashRegularFile(const std::string& path, int32_t mode);

// As hashRegularFile, but the digests of the hash are meaningless: only its labels are asked for. Fails when there are
// none.
HashAnswer identifyRegularFile(const std::string& path);

}  // namespace cli

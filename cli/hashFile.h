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

// For a result code of hashing a file that could be opened.
Failure hashFailure(int code);

// "No such file or directory (HASHCREATE_FILE_NOTFOUND)"
std::string describe(const Failure& failure);

const char* resultName(int code);

// How a file is hashed.
struct Method {
  bool quick = false;
  bool both = false;   // sampled, and beside it whole
  uint32_t flags = 0;  // KMHASH_PREFER_VERSION_4, KMHASH_WHOLE

  bool operator==(const Method&) const = default;
};

// The one that a hash in its written form was made by.
Method methodOf(const std::string& hash);

struct HashAnswer {
  Failure failure;
  std::string hash;   // written form
  std::string whole;  // the second hash where both are wanted
};

// What is said where a file would have to be hashed as a hash that this kmhash does not know.
Failure newerHash();

// Why it is not to be hashed: everything but a regular file that is not empty. (Opening a pipe would wait for its
// writer.)
Failure refusal(const std::string& path);
Failure refusal(int descriptor);

HashAnswer hashFile(const std::string& path, const Method& method);

// As hashFile, for a file that was found not to be refused.
HashAnswer hashRegularFile(const std::string& path, const Method& method);

struct IdentifyAnswer {
  Failure failure;
  int algorithmId = 0;
};
IdentifyAnswer identifyRegularFile(const std::string& path, uint32_t flags);

struct VerifyAnswer {
  Failure failure;
  int flags = 0;  // KMHASH_DIFFERENT_*
};
VerifyAnswer verifyFile(const std::string& path, const std::string& hash);

}  // namespace cli

#include "hashOperand.h"

#include "hashText.h"
#include "kmhash.h"

namespace cli {

HashOperand readHashOperand(const std::string& operand) {
  std::string reason;
  return {operand, readHashText(operand, &reason).value_or("")};
}

HashAnswer hashOf(const HashOperand& operand, const Method& method) {
  if (!operand.isFile()) return {{}, operand.hash, ""};
  HashAnswer answer = hashFile(operand.operand, method);
  const bool beginsAsHash = getAlgorithmMajorVersionFromHash(operand.operand.c_str()) >= 0;
  if (answer.failure.code != HASHCREATE_FILE_NOTFOUND || !beginsAsHash) return answer;
  std::string reason;
  readHashText(operand.operand, &reason);
  answer.failure = {HASHCREATE_INVALID_HASH, "no hash text (" + reason + ") and no file: " + answer.failure.words,
                    Failure::Cause::missing};
  return answer;
}

}  // namespace cli

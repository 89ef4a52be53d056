// An operand that is a hash text, or a file whose hash is meant.
#pragma once

#include <string>

#include "hashFile.h"

namespace cli {

struct HashOperand {
  std::string operand;
  std::string hash;  // written form; empty for a file
  bool isFile() const { return hash.empty(); }
};

// A hash text is taken for one; "./" before it makes it a file's name.
HashOperand readHashOperand(const std::string& operand);

// The operand's hash; a file is hashed now, and a failure says so when the operand may have been meant as a hash text.
HashAnswer hashOf(const HashOperand& operand, const Method& method);

}  // namespace cli

#include "methodOptions.h"

#include "kmhash.h"

namespace cli {

void addPreferOption(CommandLine& line, std::string* preferred) {
  line.choice(
      "--prefer", "VERSION", preferred, {"3", "4"},
      "Take the algorithms of version 3 (the default) or 4 first, and those of the other version for files that "
      "the first does not know.");
}

void addMethodOptions(CommandLine& line, MethodOptions* options) {
  line.flag("--quick", &options->quick, "Hash size and bytes of files of any format.");
  addPreferOption(line, &options->preferred);
  line.flag("--whole", &options->whole, "Hash every byte of the media instead of samples.");
}

uint32_t preferenceFlags(const std::string& preferred) {
  return preferred == "4" ? uint32_t{KMHASH_PREFER_VERSION_4} : 0;
}

Method methodFrom(const MethodOptions& options) {
  Method method{options.quick, false, preferenceFlags(options.preferred)};
  if (options.whole) method.flags |= KMHASH_WHOLE;
  if (options.quick && method.flags != 0) throw UsageError("--quick goes with neither --whole nor --prefer 4");
  return method;
}

}  // namespace cli

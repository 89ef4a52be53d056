// The table of commands, each defined in the command's own file.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "commandLine.h"
#include "output.h"

namespace cli {

extern const Command kHashCommand;
extern const Command kCheckCommand;
extern const Command kCompareCommand;
extern const Command kIdentifyCommand;
extern const Command kShowCommand;
extern const Command kScanCommand;
extern const Command kStatusCommand;
extern const Command kLogCommand;
extern const Command kExportCommand;
extern const Command kImportCommand;
extern const Command kForgetCommand;
extern const Command kVersionCommand;
extern const Command kDuplicatesCommand;
extern const Command kVerifyCommand;
extern const Command kReportCommand;

std::span<const Command* const> allCommands();

// What the commands have in common, for help and manual.
inline constexpr const char* kOverview =
    "Identity hashes of photos, videos and music: they name the media in a file and stay the same when tags, captions "
    "or covers are edited.";

struct ExitStatus {
  int status;
  const char* meaning;
  const char* ofCompare;  // what `kmhash compare` means by it besides
};
inline constexpr ExitStatus kExitStatuses[] = {
    {kAllWell, "all well", ""},
    {kSomethingFailed, "a difference was found, some file failed, or output could not be written", ""},
    {kWrongUsage, "wrong usage", ", or compare could not tell, for any of these reasons too"},
};

// Options that stand in place of a command, and what they write.
struct TopOption {
  Option option;
  std::string (*text)();
};
std::span<const TopOption> topOptions();

// Null for a name that no command has.
const Command* findCommand(std::string_view name);

}  // namespace cli

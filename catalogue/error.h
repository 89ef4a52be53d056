// What goes wrong with a catalogue.
#pragma once

#include <stdexcept>
#include <string>

namespace catalogue {

struct Error : std::runtime_error {
  enum class Kind {
    notThere,  // there is no such file
    foreign,   // a file, but no catalogue
    newer,     // made by a newer version
    damaged,
    inUse,     // another process writes to it
    readOnly,  // it or its folder cannot be written to
    full,      // no space is left
    other
  };
  Error(Kind what, const std::string& words) : std::runtime_error(words), kind(what) {}
  Kind kind;
};

}  // namespace catalogue

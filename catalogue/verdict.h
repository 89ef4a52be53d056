// One word on a recorded file, from what was compared.
#pragma once

#include <cstddef>
#include <cstdint>

namespace catalogue {

enum class Word : uint8_t {
  intact,           // every byte is as it was
  intactAsSampled,  // what was compared agrees, and that was not everything
  metadataEdited,   // bytes changed, all of the media is the same
  mediaChanged,     // the media changed, or bytes of a file without media
  rotten,           // bytes changed though size and time did not
  moved,            // is at another place, with the same hash
  missing,
  isNew,
  unreadable,  // it or its folder; or the hash is one that this version does not know
  absent       // its disk or the scanned folder is not here
};
inline constexpr size_t kWords = 10;

const char* nameOf(Word word);  // "metadata-edited"

// Whether nothing has to be done about it.
bool isWell(Word word);

enum class Compared : uint8_t { not_, same, different };

struct Findings {
  bool isSameSize = false;
  bool isSameStat = false;            // size and time, of a time that cannot hide a change
  Compared bytes = Compared::not_;    // the digest of the whole file
  Compared whole = Compared::not_;    // the hash of all of the media
  Compared sampled = Compared::not_;  // the hash of samples
};

// False when nothing was compared.
bool judge(const Findings& findings, Word* word);

}  // namespace catalogue

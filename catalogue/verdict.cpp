#include "verdict.h"

namespace catalogue {
namespace {

struct Row {
  const char* name;
  bool isWell;
};
constexpr Row kRows[kWords] = {{"intact", true},          {"intact-as-sampled", true},
                               {"metadata-edited", true}, {"media-changed", false},
                               {"rotten", false},         {"moved", true},
                               {"missing", false},        {"new", true},
                               {"unreadable", false},     {"absent", false}};

Word wordFor(const Findings& findings) {
  const bool isWhole = findings.whole != Compared::not_;
  const Compared media = isWhole ? findings.whole : findings.sampled;
  const bool bytesDiffer = findings.bytes == Compared::different;
  if (findings.bytes == Compared::same) return Word::intact;
  if (findings.isSameStat && (bytesDiffer || media == Compared::different)) return Word::rotten;
  if (media == Compared::different || media == Compared::not_) return Word::mediaChanged;
  return isWhole && (bytesDiffer || !findings.isSameSize) ? Word::metadataEdited : Word::intactAsSampled;
}

}  // namespace

const char* nameOf(Word word) { return kRows[static_cast<size_t>(word)].name; }

bool isWell(Word word) { return kRows[static_cast<size_t>(word)].isWell; }

bool judge(const Findings& findings, Word* word) {
  const bool isCompared =
      findings.bytes != Compared::not_ || findings.whole != Compared::not_ || findings.sampled != Compared::not_;
  if (isCompared) *word = wordFor(findings);
  return isCompared;
}

}  // namespace catalogue

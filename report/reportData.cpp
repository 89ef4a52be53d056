#include "reportData.h"

#include <algorithm>
#include <map>

#include "format.h"
#include "json.h"
#include "pageText.h"
#include "verdict.h"

namespace report {
namespace {

using catalogue::Companion;
using catalogue::Group;
using catalogue::Member;

constexpr const char* kKindNames[] = {"photo", "video", "audio", "other"};

const char* nameOf(Kind kind) { return kKindNames[static_cast<size_t>(kind)]; }

// ---- What a hash text tells ----

unsigned hexByte(const std::string& hash, size_t at) {
  const auto digit = [&](size_t i) {
    const char c = i < hash.size() ? hash[i] : '0';
    return static_cast<unsigned>(c <= '9' ? c - '0' : c - 'A' + 10) & 15U;
  };
  return digit(at) << 4U | digit(at + 1);
}

Kind kindOfHash(const std::string& hash) {
  std::string fileType;
  for (size_t at = 8; at < 18; at += 2) fileType += static_cast<char>(hexByte(hash, at));
  return kindOf(fileType);
}

std::string formatOfHash(const std::string& hash) {
  const bool isLabelled = hash.size() == 128 && hash[114] != '.';
  return formatOf(isLabelled ? static_cast<int64_t>(hexByte(hash, 114)) : -1);
}

// ---- Groups ----

// About as many bytes as the group takes in JSON.
uint64_t sizeOf(const Group& group) {
  uint64_t size = 96;
  for (const Member& member : group.members) {
    size += 160 + jsonText(member.path).size() + jsonText(member.whole).size();
    if (&member == &group.members[0] || member.hash != group.members[0].hash) size += jsonText(member.hash).size() + 1;
    for (const Companion& companion : member.companions) size += jsonText(companion.path).size() + 1;
  }
  return size;
}

bool freesMore(const Group& a, const Group& b) {
  return a.freeable != b.freeable ? a.freeable > b.freeable : a.members[0].path < b.members[0].path;
}

// Texts and their numbers, in the order in which they came first.
class Numbering {
 public:
  size_t numberOf(const std::string& text) {
    const auto [known, isNew] = numbers_.try_emplace(text, texts_.size());
    if (isNew) texts_.push_back(text);
    return known->second;
  }
  const std::vector<std::string>& texts() const { return texts_; }

 private:
  std::map<std::string, size_t> numbers_;
  std::vector<std::string> texts_;
};

// "1699999999.000000005", also before 1970
std::string timeText(int64_t nanoseconds) {
  constexpr uint64_t kSecond = 1'000'000'000;
  const auto bits = static_cast<uint64_t>(nanoseconds);
  const uint64_t amount = nanoseconds < 0 ? 0 - bits : bits;
  return text::format("{}{}.{:09}", nanoseconds < 0 ? "-" : "", amount / kSecond, amount % kSecond);
}

class GroupWriter {
 public:
  GroupWriter(const std::map<const Member*, size_t>& pictures, Numbering* roots) : pictures_(pictures), roots_(roots) {}

  std::string write(const Group& group) {
    lookAt(group);
    const std::string files = jsonList('[', group.members, ']', [&](const Member& member) { return file(member); });
    const std::string& hash = group.members[0].hash;
    return text::format(R"({{"format":{},"kind":"{}","freeable":{},"hashes":{},"files":{}}})",
                        jsonText(formatOfHash(hash)), nameOf(kindOfHash(hash)), group.freeable,
                        jsonList('[', hashes_.texts(), ']', jsonText), files);
  }

 private:
  void lookAt(const Group& group) {
    hashes_ = {};
    filesOfStorage_.clear();
    pictureOfCopy_.clear();
    for (const Member& member : group.members) {
      if (member.storage != 0) ++filesOfStorage_[member.storage];
      const auto picture = pictures_.find(&member);
      if (member.copy != 0 && picture != pictures_.end()) pictureOfCopy_.emplace(member.copy, picture->second);
    }
  }

  std::string file(const Member& member) {
    std::string out =
        text::format(R"({{"path":{},"root":{},"size":{},"time":"{}","hash":{})", jsonText(member.path),
                     roots_->numberOf(member.root), member.size, timeText(member.mtime), hashes_.numberOf(member.hash));
    if (!member.whole.empty()) out += text::format(R"(,"whole":{})", hashes_.numberOf(member.whole));
    if (member.copy != 0) out += text::format(R"(,"bytes":{})", member.copy);
    if (filesOfStorage_[member.storage] > 1) out += text::format(R"(,"storage":{})", member.storage);
    if (member.isKept) out += R"(,"keep":true)";
    if (member.isReference) out += R"(,"reference":true)";
    if (!member.isHere) out += R"(,"away":true)";
    if (const size_t* picture = pictureOf(member)) out += text::format(R"(,"picture":{})", *picture);
    if (!member.companions.empty()) {
      out += R"(,"companions":)" +
             jsonList('[', member.companions, ']', [](const Companion& companion) { return jsonText(companion.path); });
    }
    return out + '}';
  }

  // Its own, or that of one with the same bytes.
  const size_t* pictureOf(const Member& member) const {
    const auto own = pictures_.find(&member);
    if (own != pictures_.end()) return &own->second;
    const auto same = pictureOfCopy_.find(member.copy);
    return same != pictureOfCopy_.end() ? &same->second : nullptr;
  }

  const std::map<const Member*, size_t>& pictures_;
  Numbering* const roots_;
  // Of the group at hand.
  Numbering hashes_;
  std::map<uint32_t, size_t> filesOfStorage_, pictureOfCopy_;
};

// ---- Sums ----

std::string formatsJson(const Overview& overview) {
  return jsonList('[', overview.formats, ']', [](const auto& row) {
    const auto& [format, sum] = row;
    return text::format(R"({{"name":{},"kind":"{}","files":{},"bytes":{}}})", jsonText(format.first),
                        nameOf(format.second), sum.files, sum.bytes);
  });
}

std::string yearsJson(const Overview& overview) {
  std::map<int64_t, std::string> years;
  for (const auto& [year, sum] : overview.years) {
    years[year.first] += text::format(R"(,"{}":{})", nameOf(year.second), sum.bytes);
  }
  return jsonList('[', years, ']',
                  [](const auto& row) { return text::format(R"({{"year":{}{}}})", row.first, row.second); });
}

// Nothing for what is no word of a verdict.
std::string healthJson(const std::string& name) {
  for (size_t i = 0; i < catalogue::kWords; ++i) {
    const auto word = static_cast<catalogue::Word>(i);
    if (name == nameOf(word)) return text::format(R"(,"health":"{}")", isWell(word) ? "well" : "ill");
  }
  return "";
}

std::string textsJson(const std::vector<std::string>& texts) { return jsonList('[', texts, ']', jsonText); }

std::string verificationJson(const Verification& verification) {
  const catalogue::VerificationRecord& last = verification.last;
  if (last.started == 0) return "null";
  const std::string words = jsonList('[', verification.words, ']', [](const auto& row) {
    return text::format(R"({{"word":{},"files":{}{}}})", jsonText(row.first), row.second, healthJson(row.first));
  });
  const std::string findings = jsonList('[', verification.findings, ']', [](const auto& row) {
    return text::format(R"({{"word":{},"path":{}}})", jsonText(row.first), jsonText(row.second));
  });
  return text::format(R"({{"when":{},"folders":{},"percent":{},"ended":{},"words":{},"findings":{},"more":{}}})",
                      last.started / 1'000'000'000, textsJson(verification.folders), last.percent.value_or(100),
                      last.isEnded, words, findings, verification.more);
}

std::string factsJson(const Facts& facts) {
  return text::format(R"("program":{},"made":{},"catalogues":{},"match":{},"keep":{},"script":{{"begin":{},"end":{}}})",
                      jsonText(facts.program), facts.made, textsJson(facts.catalogues), jsonText(facts.match),
                      textsJson(facts.keep), jsonText(facts.scriptBegin), jsonText(facts.scriptEnd));
}

// Photos without a picture in the page; of other media a browser shows none by itself.
size_t leftToBrowser(const std::vector<PictureWish>& wishes, const std::vector<std::string>& pictures) {
  size_t count = 0;
  for (size_t i = 0; i < wishes.size(); ++i) {
    if (wishes[i].kind == Kind::photo && (i >= pictures.size() || pictures[i].empty())) ++count;
  }
  return count;
}

}  // namespace

void GroupShelf::add(const Group& group) {
  ++groups_;
  files_ += group.members.size();
  freeable_ += group.freeable;
  bytes_ += sizeOf(group);
  kept_.push_back(group);
  if (bytes_ > 2 * mostBytes_) shorten();
}

void GroupShelf::shorten() {
  std::sort(kept_.begin(), kept_.end(), freesMore);
  bytes_ = 0;
  std::vector<Group> fitting;
  for (Group& group : kept_) {
    const uint64_t size = sizeOf(group);
    if (bytes_ + size > mostBytes_) continue;
    bytes_ += size;
    fitting.push_back(std::move(group));
  }
  kept_ = std::move(fitting);
}

std::vector<Group> GroupShelf::take() {
  shorten();
  return std::move(kept_);
}

std::vector<PictureWish> pictureWishes(const std::vector<Group>& groups) {
  constexpr size_t kMostOfAGroup = 24;
  std::vector<PictureWish> wishes;
  for (const Group& group : groups) {
    const Kind kind = kindOfHash(group.members[0].hash);
    std::vector<uint32_t> copies;
    for (const Member& member : group.members) {
      const bool isThere = member.copy != 0 && std::find(copies.begin(), copies.end(), member.copy) != copies.end();
      if (kind == Kind::other || !member.isHere || isThere || copies.size() == kMostOfAGroup) continue;
      wishes.push_back({&member, kind});
      copies.push_back(member.copy);
    }
  }
  return wishes;
}

std::string reportJson(const Facts& facts, const Overview& overview, const GroupShelf& shelf,
                       const std::vector<Group>& groups, const std::vector<PictureWish>& wishes,
                       const std::vector<std::string>& pictures) {
  std::map<const Member*, size_t> numbers;
  std::vector<std::string> made;
  for (size_t i = 0; i < pictures.size(); ++i) {
    if (pictures[i].empty()) continue;
    numbers[wishes[i].member] = made.size();
    made.push_back(pictures[i]);
  }
  Numbering roots;
  GroupWriter writer(numbers, &roots);
  const std::string groupsJson = jsonList('[', groups, ']', [&](const Group& group) { return writer.write(group); });
  return text::format(R"({{{},"roots":{},"totals":{{"files":{},"bytes":{},"groups":{},"copies":{},"freeable":{}}},)"
                      R"("formats":{},"years":{},"verification":{},)"
                      R"("left":{{"groups":{},"pictures":{}}},"groups":{},"pictures":{}}})",
                      factsJson(facts), textsJson(roots.texts()), overview.all.files, overview.all.bytes,
                      shelf.groups(), shelf.files(), shelf.freeable(), formatsJson(overview), yearsJson(overview),
                      verificationJson(overview.verification), shelf.groups() - groups.size(),
                      leftToBrowser(wishes, pictures), groupsJson,
                      jsonList('[', made, ']', [](const std::string& url) { return '"' + url + '"'; }));
}

std::string pageWith(const std::string& json) { return kBeforeData + json + kAfterData; }

}  // namespace report

#include "knownFiles.h"

namespace catalogue {
namespace {

constexpr int kRowsAtOnce = 512;

}  // namespace

KnownFiles::KnownFiles(Database& database, const Part& part)
    : part_(part),
      end_(endOf(part.folder)),
      after_(part.folder),
      statement_(database.prepare(std::string("SELECT ") + kKnownColumns +
                                  " FROM files WHERE root = ?1 AND path > ?2 AND path < iif(?3 = '', X'FF', ?3) "
                                  "ORDER BY path LIMIT " +
                                  std::to_string(kRowsAtOnce))) {}

const KnownFile* KnownFiles::front() {
  if (rows_.empty() && !ended_) read();
  return rows_.empty() ? nullptr : &rows_.front();
}

void KnownFiles::read() {
  for (statement_.with(part_.root.id, after_, end_); statement_.next();) rows_.push_back(knownOf(statement_));
  ended_ = rows_.size() < kRowsAtOnce;
  if (!rows_.empty()) after_ = rows_.back().path;
}

}  // namespace catalogue

// The recorded files of a part in the order of their paths, some at once, so that none is being read while others
// write.
#pragma once

#include <deque>
#include <string>

#include "recorder.h"
#include "roots.h"
#include "sqlite.h"

namespace catalogue {

class KnownFiles {
 public:
  KnownFiles(Database& database, const Part& part);

  // Null at the end.
  const KnownFile* front();
  void pop() { rows_.pop_front(); }

 private:
  void read();

  const Part part_;
  const std::string end_;
  std::string after_;
  bool ended_ = false;
  std::deque<KnownFile> rows_;
  Statement statement_;
};

}  // namespace catalogue

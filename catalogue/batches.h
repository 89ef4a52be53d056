// Transactions of as many writes as are worth it.
#pragma once

#include <chrono>
#include <optional>

#include "sqlite.h"

namespace catalogue {

class Batches {
 public:
  explicit Batches(Database& database) : database_(database) {}
  void begin() {
    if (transaction_) return;
    transaction_.emplace(database_);
    began_ = Clock::now();
  }
  void wrote() {
    if (++writes_ >= kWritesAtOnce) end();
  }
  void endWhenDue() {
    if (transaction_ && Clock::now() - began_ >= kWriteWaits) end();
  }
  void end() {
    if (transaction_) transaction_->commit();
    transaction_.reset();
    writes_ = 0;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr int kWritesAtOnce = 250;
  static constexpr std::chrono::seconds kWriteWaits{1};

  Database& database_;
  std::optional<Transaction> transaction_;
  Clock::time_point began_;
  int writes_ = 0;
};

}  // namespace catalogue

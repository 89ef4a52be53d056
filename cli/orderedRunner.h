// Does work on several threads and gives the results in the order of the items.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "output.h"
#include "progress.h"
#include "runOptions.h"

namespace cli {

// Items of a source, taken ahead of their use by a thread of its own, so that their number is known early.
template <class Item>
class ReadAhead {
 public:
  static constexpr size_t kMost = 1'000'000;

  ReadAhead(std::function<bool(Item&)> source, Output& output, Progress& progress)
      : source_(std::move(source)), output_(output), progress_(progress), thread_([this] { read(); }) {}
  ~ReadAhead() { thread_.join(); }
  ReadAhead(const ReadAhead&) = delete;
  ReadAhead& operator=(const ReadAhead&) = delete;

  bool next(Item& item) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return ended_ || !items_.empty(); });
    if (items_.empty()) return false;
    item = std::move(items_.front());
    items_.pop_front();
    if (items_.size() + 1 == kMost) changed_.notify_all();
    return true;
  }

 private:
  void read() try {
    for (Item item; source_(item);) {
      if (item.isFile()) progress_.addFound();
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return items_.size() < kMost; });
      items_.push_back(std::move(item));
      if (items_.size() == 1) changed_.notify_all();
    }
    progress_.setAllFound();
    const std::lock_guard lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  } catch (const std::exception& error) {
    output_.fail("internal error", error.what());
  }

  std::function<bool(Item&)> source_;
  Output& output_;
  Progress& progress_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Item> items_;
  bool ended_ = false;
  std::thread thread_;
};

// The threads share the work without a thread that hands it out: each takes the next item, works on it and stores the
// result, and whoever stores the result that all wait for commits it and those behind it.
template <class Item, class Result>
class OrderedRunner {
 public:
  // How far a thread may be ahead of the first item that is not done.
  static constexpr uint64_t kWindow = 4096;

  struct Steps {
    std::function<bool(Item&)> next;                   // false at the end; never called by two threads at once
    std::function<Result(const Item&)> work;           // called on any number of threads
    std::function<void(const Item&, Result&)> commit;  // in the order of the items, never by two threads at once
  };

  OrderedRunner(Output& output, Steps steps) : output_(output), steps_(std::move(steps)) {}

  // Returns when everything is committed.
  void run(unsigned jobs) {
    std::vector<std::thread> others;
    try {
      while (others.size() + 1 < jobs) others.emplace_back([this] { workThrough(); });
    } catch (const std::system_error&) {
      // The system gives no more threads: those that there are do the work.
    }
    workThrough();
    for (std::thread& thread : others) thread.join();
  }

 private:
  void workThrough() try {
    Item item;
    uint64_t index = 0;
    while (take(&item, &index)) {
      Result result = steps_.work(item);
      store(index, std::move(item), std::move(result));
      item = Item();
    }
  } catch (const std::exception& error) {
    output_.fail("internal error", error.what());
  }

  bool take(Item* item, uint64_t* index) {
    std::unique_lock lock(takeMutex_);
    ++waiting_;
    windowMoved_.wait(lock, [this] { return ended_ || taken_ < committed_ + kWindow; });
    --waiting_;
    if (ended_) return false;
    if (!steps_.next(*item)) {
      ended_ = true;
      windowMoved_.notify_all();
      return false;
    }
    *index = taken_++;
    return true;
  }

  void store(uint64_t index, Item item, Result result) {
    {
      const std::lock_guard lock(commitMutex_);
      const auto place = static_cast<size_t>(index - committed_);
      if (results_.size() <= place) results_.resize(place + 1);
      results_[place].emplace(std::move(item), std::move(result));
      while (!results_.empty() && results_.front()) {
        steps_.commit(results_.front()->first, results_.front()->second);
        results_.pop_front();
        ++committed_;
      }
    }
    // A thread counts itself as waiting before it looks at the window, so that none is overlooked here. One that holds
    // the lock to read names is not disturbed unless another waits for the window.
    if (waiting_ > 0) {
      const std::lock_guard lock(takeMutex_);
      windowMoved_.notify_all();
    }
  }

  Output& output_;
  const Steps steps_;

  std::mutex takeMutex_;
  std::condition_variable windowMoved_;
  uint64_t taken_ = 0;
  bool ended_ = false;

  std::mutex commitMutex_;
  std::deque<std::optional<std::pair<Item, Result>>> results_;  // from the first item that is not committed on

  std::atomic<uint64_t> committed_{0};
  std::atomic<int> waiting_{0};
};

// Runs the steps with the options' threads and progress. Item::isFile() says whether it counts in the progress.
template <class Item, class Result>
void runInOrder(Output& output, const RunOptions& options, typename OrderedRunner<Item, Result>::Steps steps) {
  Progress progress(output, options.progress);
  std::optional<ReadAhead<Item>> ahead;
  if (progress.isShown()) {
    ahead.emplace(std::move(steps.next), output, progress);
    steps.next = [&ahead](Item& item) { return ahead->next(item); };
    steps.commit = [&progress, commit = std::move(steps.commit)](const Item& item, Result& result) {
      commit(item, result);
      if (item.isFile()) progress.addDone();
    };
  }
  OrderedRunner<Item, Result>(output, std::move(steps)).run(options.jobs);
}

}  // namespace cli

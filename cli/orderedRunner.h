// Does work on several threads and gives the results in the order of the items.
#pragma once

#include <algorithm>
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

#include "disk.h"
#include "output.h"
#include "progress.h"
#include "runOptions.h"

namespace cli {

// Counts the items of a source on a thread of its own, so that their number is known early. It holds none of them.
template <class Item>
class Counter {
 public:
  Counter(std::function<bool(Item&)> source, Output& output, Progress& progress)
      : source_(std::move(source)), output_(output), progress_(progress), thread_([this] { count(); }) {}
  ~Counter() {
    ended_ = true;
    thread_.join();
  }
  Counter(const Counter&) = delete;
  Counter& operator=(const Counter&) = delete;

 private:
  void count() try {
    for (Item item; !ended_ && source_(item);) {
      if (item.isFile()) progress_.addFound();
    }
    progress_.setAllFound();
  } catch (const std::exception& error) {
    output_.fail(error);
  }

  std::function<bool(Item&)> source_;
  Output& output_;
  Progress& progress_;
  std::atomic<bool> ended_{false};
  std::thread thread_;
};

// The threads share the work without a thread that hands it out: each takes the next item, works on it and stores the
// result, and whoever stores the result that all wait for commits it and those behind it.
template <class Item, class Result>
class OrderedRunner {
 public:
  // How far a thread may be ahead of the first item that is not done.
  static constexpr uint64_t kWindow = 4096;

  // How many items are sorted by their places.
  static constexpr size_t kSweep = 1024;

  struct Steps {
    std::function<bool(Item&)> next;                   // false at the end; never called by two threads at once
    std::function<Result(const Item&)> work;           // called on any number of threads
    std::function<void(const Item&, Result&)> commit;  // in the order of the items, never by two threads at once

    // Gives a second source of the same items to be counted, or an empty one when there is none.
    std::function<std::function<bool(Item&)>()> again = [] { return std::function<bool(Item&)>(); };

    // Asked of the first item: whether all lie on a rotating disk. They are then worked on in the order of their
    // places, if those are told.
    std::function<bool(const Item&)> isOnRotatingDisk = [](const Item&) { return false; };
    std::function<uint64_t(const Item&)> place = {};
  };

  OrderedRunner(Output& output, Steps steps) : output_(output), steps_(std::move(steps)) {}

  // Returns when everything is committed. Takes as many threads as are named, or as the disk wants when that is 0, and
  // no more than most.
  void run(unsigned jobs, size_t most = SIZE_MAX) {
    const bool rotates = most > 1 && lookAtFirst();
    if (jobs == 0 && most > 1) jobs = catalogue::threadsForFiles(rotates);
    std::vector<std::thread> others;
    try {
      while (others.size() + 1 < std::min<size_t>(jobs, most)) others.emplace_back([this] { workThrough(); });
    } catch (const std::system_error&) {
      // The system gives no more threads: those that there are do the work.
    }
    workThrough();
    for (std::thread& thread : others) thread.join();
  }

 private:
  struct Next {
    uint64_t place, index;
    Item item;
  };

  bool lookAtFirst() try {
    readNext();
    const bool rotates = !next_.empty() && steps_.isOnRotatingDisk(next_.front().item);
    if (!rotates || !steps_.place) return rotates;
    sweep_ = kSweep;
    next_.front().place = steps_.place(next_.front().item);
    readNext();
    return true;
  } catch (const std::exception& error) {
    output_.fail(error);
    ended_ = true;
    return false;
  }

  void workThrough() try {
    Item item;
    uint64_t index = 0;
    while (take(&item, &index)) {
      Result result = steps_.work(item);
      store(index, std::move(item), std::move(result));
      item = Item();
    }
  } catch (const std::exception& error) {
    output_.fail(error);
  }

  bool take(Item* item, uint64_t* index) {
    std::unique_lock lock(takeMutex_);
    ++waiting_;
    windowMoved_.wait(lock, [this] { return ended_ || !next_.empty() || taken_ < committed_ + kWindow; });
    --waiting_;
    if (next_.empty() && !ended_) readNext();
    if (next_.empty()) return false;
    *index = next_.back().index;
    *item = std::move(next_.back().item);
    next_.pop_back();
    return true;
  }

  void readNext() {
    while (next_.size() < sweep_ && !ended_) {
      Item item;
      ended_ = !steps_.next(item);
      if (!ended_) next_.push_back({sweep_ > 1 ? steps_.place(item) : 0, taken_++, std::move(item)});
    }
    if (ended_) windowMoved_.notify_all();
    if (sweep_ == 1) return;
    std::sort(next_.begin(), next_.end(),
              [](const Next& a, const Next& b) { return std::pair(a.place, a.index) > std::pair(b.place, b.index); });
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
  std::vector<Next> next_;  // that were read and not taken, the one to be taken first at the end
  size_t sweep_ = 1;
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
  using Runner = OrderedRunner<Item, Result>;
  Progress progress(output, options.progress);
  if (!progress.isShown()) return Runner(output, std::move(steps)).run(options.jobs, options.mostJobs);

  std::optional<Counter<Item>> counter;
  if (std::function<bool(Item&)> source = steps.again()) counter.emplace(std::move(source), output, progress);
  steps.next = [&progress, counts = !counter, next = std::move(steps.next)](Item& item) {
    const bool any = next(item);
    if (counts && any && item.isFile()) progress.addFound();
    if (counts && !any) progress.setAllFound();
    return any;
  };
  steps.commit = [&progress, commit = std::move(steps.commit)](const Item& item, Result& result) {
    commit(item, result);
    if (item.isFile()) progress.addDone();
  };
  Runner(output, std::move(steps)).run(options.jobs, options.mostJobs);
  counter.reset();
  progress.setAllDone();
}

}  // namespace cli

// Threads that work on jobs in the order in which they come, and hand out what they made in any order.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace catalogue {

template <class Job, class Made>
class Workers {
 public:
  Workers(unsigned count, std::function<Made(const Job&)> work) : work_(std::move(work)) {
    try {
      while (threads_.size() < count) threads_.emplace_back([this] { loop(); });
    } catch (const std::system_error&) {
      if (threads_.empty()) throw;  // else those that there are do the work
    }
  }
  // Waits for the jobs at hand, not for those that nobody has begun.
  ~Workers() {
    {
      const std::lock_guard lock(mutex_);
      ended_ = true;
    }
    waiting_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // The rest is for one thread, which is none of these.
  void add(Job job) {
    {
      const std::lock_guard lock(mutex_);
      jobs_.push_back(std::move(job));
    }
    waiting_.notify_one();
    ++pending_;
  }
  size_t pending() const { return pending_; }  // added and not taken

  // Hands out what is done; waits for it, a moment at most, when `waits` and anything is pending. Throws what the work
  // threw.
  bool take(std::pair<Job, Made>* done, bool waits) {
    std::unique_lock lock(mutex_);
    if (waits && pending_ > 0) made_.wait_for(lock, kMoment, [this] { return !done_.empty() || thrown_; });
    if (thrown_) std::rethrow_exception(thrown_);
    if (done_.empty()) return false;
    *done = std::move(done_.front());
    done_.pop_front();
    --pending_;
    return true;
  }

 private:
  static constexpr std::chrono::milliseconds kMoment{100};

  void loop() try {
    std::unique_lock lock(mutex_);
    for (;;) {
      waiting_.wait(lock, [this] { return ended_ || !jobs_.empty(); });
      if (ended_) return;
      Job job = std::move(jobs_.front());
      jobs_.pop_front();
      lock.unlock();
      Made made = work_(job);
      lock.lock();
      done_.emplace_back(std::move(job), std::move(made));
      made_.notify_one();
    }
  } catch (...) {
    const std::lock_guard lock(mutex_);
    thrown_ = std::current_exception();
    made_.notify_one();
  }

  const std::function<Made(const Job&)> work_;
  std::mutex mutex_;
  std::condition_variable waiting_, made_;
  std::deque<Job> jobs_;
  std::deque<std::pair<Job, Made>> done_;
  std::exception_ptr thrown_;
  bool ended_ = false;
  size_t pending_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace catalogue

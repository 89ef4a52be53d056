// How far long work has come: files done and total, rate, time left.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace cli {

class Output;

// The line for a state of the work; total is a lower bound while isWhole is false. Bytes are told when there are any.
std::string progressLine(uint64_t done, uint64_t total, bool isWhole, double seconds, uint64_t bytes = 0);

// "3.2 GB"
std::string byteWords(uint64_t bytes);

class Progress {
 public:
  // when: "auto" shows progress when standard error is a terminal, "always" and "never" as they say.
  Progress(Output& output, const std::string& when);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  bool isShown() const { return ticker_.joinable(); }

  // May be called on any thread.
  void addFound() { found_.fetch_add(1, std::memory_order_relaxed); }
  void setAllFound() { allFound_ = true; }
  void addDone() { done_.fetch_add(1, std::memory_order_relaxed); }

  void addBytes(uint64_t bytes) { bytes_.fetch_add(bytes, std::memory_order_relaxed); }

  // What is done was everything, whatever was counted.
  void setAllDone();

 private:
  void tick();
  void show();

  using Clock = std::chrono::steady_clock;
  Output& output_;
  const Clock::time_point start_ = Clock::now();
  std::atomic<uint64_t> found_{0}, done_{0}, bytes_{0};
  std::atomic<bool> allFound_{false};
  std::mutex mutex_;
  std::condition_variable ending_;
  bool ended_ = false;
  std::thread ticker_;
};

}  // namespace cli

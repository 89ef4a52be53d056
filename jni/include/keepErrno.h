// A scope for calls into a virtual machine, which leaves values of its own in errno: the library would report them as
// those of a failed read.
#pragma once

#include <cerrno>

class KeepErrno {
 public:
  KeepErrno() : saved_(errno) {}
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;
  ~KeepErrno() { errno = saved_; }

 private:
  int saved_;
};

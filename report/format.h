// Text made of values, by fmt, whose code is compiled once instead of into each file.
#pragma once

#include <fmt/format.h>

#include <string>

namespace text {

std::string formatted(fmt::string_view pattern, fmt::format_args values);

// As fmt::format.
template <typename... Values>
std::string format(fmt::format_string<Values...> pattern, Values&&... values) {
  return formatted(pattern, fmt::make_format_args(values...));
}

}  // namespace text

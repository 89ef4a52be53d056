#include "format.h"

std::string text::formatted(fmt::string_view pattern, fmt::format_args values) { return fmt::vformat(pattern, values); }

// The page but for its data, put together from the parts in page/ when the program is built.
#pragma once

namespace report {

extern const char kBeforeData[];
extern const char kAfterData[];

}  // namespace report

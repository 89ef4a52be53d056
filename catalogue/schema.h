#pragma once

#include <cstddef>
#include <iterator>

namespace catalogue {

// The texts of schema-1.sql and so on: each brings a catalogue from the version that is its index to the next one.
extern const char* const kMigrations[];
extern const size_t kMigrationCount;

}  // namespace catalogue

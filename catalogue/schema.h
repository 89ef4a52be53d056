#pragma once

namespace catalogue {

// The text of schema.sql.
extern const char* const kSchema;

}  // namespace catalogue

#include "jsonPath.h"

#include "format.h"

namespace cli {

using Json = nlohmann::ordered_json;

std::string hexOf(std::string_view bytes) {
  std::string digits;
  for (const char byte : bytes) digits += text::format("{:02x}", static_cast<unsigned char>(byte));
  return digits;
}

void putPath(Json* object, const std::string& key, const std::string& path) {
  (*object)[key] = path;
  try {
    (void)Json(path).dump();
  } catch (const Json::type_error&) {
    (*object)[key + "_hex"] = hexOf(path);
  }
}

std::string dumped(const Json& object) { return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n'; }

}  // namespace cli

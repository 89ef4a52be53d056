#include "jsonLine.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "hashText.h"

namespace cli {
namespace {

using Json = nlohmann::ordered_json;

Json textOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

void addHash(Json& object, const std::string& hash) {
  const HashFields fields = fieldsOf(hash);
  const bool hasAlgorithm = fields.algorithmId >= 0;
  object["hash"] = hash;
  object["algorithm_id"] = hasAlgorithm ? Json(fields.algorithmId) : Json();
  object["algorithm"] = hasAlgorithm ? Json(algorithmName(fields.algorithmId)) : Json();
  object["version"] = textOrNull(fields.version);
  object["file_type"] = textOrNull(fields.fileType);
  object["format_type"] = textOrNull(fields.formatType);
  object["content"] = fields.content;
  object["meta"] = fields.meta;
}

std::string hexDigits(const std::string& bytes) {
  std::string digits;
  for (const char byte : bytes) digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  return digits;
}

}  // namespace

std::string jsonLine(const std::string& path, const HashAnswer& answer) {
  Json object{{"path", path}, {"status", resultName(answer.failure.code)}};
  if (answer.failure.code == 0) {
    addHash(object, answer.hash);
  } else {
    object["reason"] = answer.failure.words;
  }
  try {
    return object.dump() + '\n';
  } catch (const Json::type_error&) {  // the path is not UTF-8
    object["path_hex"] = hexDigits(path);
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
  }
}

}  // namespace cli

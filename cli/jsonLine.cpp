#include "jsonLine.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "hashText.h"

namespace cli {
namespace {

using Json = nlohmann::ordered_json;

Json textOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

void addLabels(Json& object, const HashFields& fields) {
  const bool hasAlgorithm = fields.algorithmId >= 0;
  object["algorithm_id"] = hasAlgorithm ? Json(fields.algorithmId) : Json();
  object["algorithm"] = hasAlgorithm ? Json(algorithmName(fields.algorithmId)) : Json();
  object["version"] = textOrNull(fields.version);
  object["file_type"] = textOrNull(fields.fileType);
  object["format_type"] = textOrNull(fields.formatType);
}

std::string hexDigits(const std::string& bytes) {
  std::string digits;
  for (const char byte : bytes) digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  return digits;
}

Json begun(const std::string& path, const Failure& failure) {
  Json object{{"path", path}, {"status", resultName(failure.code)}};
  if (failure.code != 0) object["reason"] = failure.words;
  return object;
}

std::string lineOf(Json object, const std::string& path) {
  try {
    return object.dump() + '\n';
  } catch (const Json::type_error&) {  // the path is not UTF-8
    object["path_hex"] = hexDigits(path);
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
  }
}

}  // namespace

std::string jsonOfHash(const std::string& path, const HashAnswer& answer) {
  Json object = begun(path, answer.failure);
  if (answer.failure.code == 0) {
    const HashFields fields = fieldsOf(answer.hash);
    object["hash"] = answer.hash;
    addLabels(object, fields);
    object["content"] = fields.content;
    object["meta"] = fields.meta;
  }
  return lineOf(std::move(object), path);
}

std::string jsonOfFormat(const std::string& path, const HashAnswer& answer) {
  Json object = begun(path, answer.failure);
  if (answer.failure.code == 0) addLabels(object, fieldsOf(answer.hash));
  return lineOf(std::move(object), path);
}

}  // namespace cli

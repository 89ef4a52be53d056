#include "jsonLine.h"

#include <nlohmann/json.hpp>

#include "format.h"
#include "hashText.h"
#include "kmhash.h"

namespace cli {
namespace {

using Json = nlohmann::ordered_json;

Json textOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

std::string hexDigits(const std::string& bytes) {
  std::string digits;
  for (const char byte : bytes) digits += text::format("{:02x}", static_cast<unsigned char>(byte));
  return digits;
}

Json begun(const std::string& path, int code) { return {{"path", path}, {"status", resultName(code)}}; }

void addAlgorithm(Json& object, int id) {
  object["algorithm_id"] = id >= 0 ? Json(id) : Json();
  object["algorithm"] = id >= 0 ? Json(algorithmName(id)) : Json();
}

}  // namespace

std::string jsonLine(Json object, const std::string& path) {
  try {
    return object.dump() + '\n';
  } catch (const Json::type_error&) {  // the path is not UTF-8
    object["path_hex"] = hexDigits(path);
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
  }
}

std::string jsonOfHash(const std::string& path, const std::string& hash) {
  const HashFields fields = fieldsOf(hash);
  Json object = begun(path, HASHCREATE_SUCCESS);
  object["hash"] = hash;
  addAlgorithm(object, fields.algorithmId);
  object["version"] = textOrNull(fields.version);
  object["whole"] = isWhole(hash);
  object["file_type"] = textOrNull(fields.fileType);
  object["format_type"] = textOrNull(fields.formatType);
  object["content"] = fields.content;
  object["meta"] = fields.meta;
  return jsonLine(std::move(object), path);
}

std::string jsonOfAlgorithm(const std::string& path, int algorithmId) {
  Json object = begun(path, HASHCREATE_SUCCESS);
  addAlgorithm(object, algorithmId);
  object["version"] = textOrNull(algorithmVersion(algorithmId, false));
  return jsonLine(std::move(object), path);
}

std::string jsonOfFailure(const std::string& path, const Failure& failure) {
  Json object = begun(path, failure.code);
  object["reason"] = failure.words;
  return jsonLine(std::move(object), path);
}

}  // namespace cli

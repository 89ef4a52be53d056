#include "version4/version4.h"

#include <cstring>

#include "hashRecord.h"
#include "version4/algorithms.h"

namespace version4 {
namespace {

ResultCode writeText(const Analysis& analysis, const Algorithm& algorithm, bool isWhole, char* text) {
  SHA1Context content;
  SHA1Context meta = analysis.meta;
  SHA1Reset(&content);
  if (const ResultCode rc = inputContent(analysis.payload, analysis.source, isWhole, &content)) return rc;
  if (SHA1Result(&content) != 1 || SHA1Result(&meta) != 1) return HASHCREATE_SHA1_ERROR;
  Labels labels = {};
  setAlgorithmVersion(&labels, 4, isWhole ? 1 : 0);
  setAlgorithmId(&labels, algorithm.id);
  setFileType(&labels, analysis.fileType);
  setFormatTypeBytes(&labels, analysis.formatType);
  writeHashText(labels, content, meta, isWhole, text);
  return HASHCREATE_SUCCESS;
}

}  // namespace

ResultCode createHash(const KmhashSource* source, char* sampledText, char* wholeText) {
  Source cached;
  initSource(&cached, source);
  Analysis analysis = {};
  const Algorithm* algorithm = nullptr;
  if (const ResultCode rc = analyse(&analysis, &cached, &algorithm)) return rc;

  char sampled[KMHASH_TEXT_SIZE], whole[KMHASH_TEXT_SIZE];
  if (wholeText != nullptr) {
    if (const ResultCode rc = writeText(analysis, *algorithm, true, whole)) return rc;
  }
  if (sampledText != nullptr) {
    if (const ResultCode rc = writeText(analysis, *algorithm, false, sampled)) return rc;
    std::memcpy(sampledText, sampled, sizeof(sampled));
  }
  if (wholeText != nullptr) std::memcpy(wholeText, whole, sizeof(whole));
  return HASHCREATE_SUCCESS;
}

ResultCode identify(const KmhashSource* source) {
  Source cached;
  initSource(&cached, source);
  Analysis analysis = {};
  const Algorithm* algorithm = nullptr;
  if (const ResultCode rc = analyse(&analysis, &cached, &algorithm)) return rc;
  return static_cast<ResultCode>(algorithm->id);
}

}  // namespace version4

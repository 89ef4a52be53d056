// Small pictures of media, made by vipsthumbnail and ffmpegthumbnailer: a file is never decoded in this process.
#pragma once

#include <string>

namespace report {

enum class Kind { photo, video, audio, other };

struct ThumbnailTools {
  std::string picture, video;  // where vipsthumbnail and ffmpegthumbnailer lie; empty: not installed
  bool areThere() const { return !picture.empty() || !video.empty(); }
};
ThumbnailTools findThumbnailTools();

// A data: URL of a JPEG of at most 256 by 256 pixels, without the file's tags; of sound, its cover. Empty where the
// tools make none: the file is not there, is no such media, is damaged, or asks for too much. On any number of threads.
std::string thumbnailOf(const ThumbnailTools& tools, const std::string& path, Kind kind);

}  // namespace report

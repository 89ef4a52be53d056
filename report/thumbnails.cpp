#include "thumbnails.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string_view>

#include "limitedProcess.h"

namespace report {
namespace {

constexpr ProcessLimits kLimits{};

std::string base64(std::string_view bytes) {
  constexpr char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t at = 0; at < bytes.size(); at += 3) {
    uint32_t three = 0;
    for (size_t i = 0; i < 3; ++i) {
      three = three << 8U | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    for (const unsigned shift : {18U, 12U, 6U, 0U}) out += kLetters[three >> shift & 63U];
  }
  const size_t missing = (3 - bytes.size() % 3) % 3;
  out.replace(out.size() - missing, missing, missing, '=');
  return out;
}

// Reads it as its standard input: the program is told no name, in which it might see options or protocols.
std::string pictureBy(const std::string& program, const std::vector<std::string>& arguments, int file) {
  if (program.empty() || lseek(file, 0, SEEK_SET) != 0) return "";
  std::string bytes = outputOfProgram(program, arguments, file, kLimits);
  return bytes.starts_with("\xFF\xD8") ? bytes : "";
}

std::string pictureOf(const ThumbnailTools& tools, int file, Kind kind) {
  std::string bytes;
  if (kind == Kind::photo) {
    bytes = pictureBy(tools.picture,
                      {"stdin", "--size", "256x256", "-o", ".jpg[Q=60,strip,optimize_coding,background=255]"}, file);
  }
  if (!bytes.empty()) return bytes;
  return pictureBy(tools.video, {"-m", "-i", "/proc/self/fd/0", "-o", "-", "-c", "jpeg", "-s", "256", "-q", "6"}, file);
}

}  // namespace

ThumbnailTools findThumbnailTools() { return {findProgram("vipsthumbnail"), findProgram("ffmpegthumbnailer")}; }

std::string thumbnailOf(const ThumbnailTools& tools, const std::string& path, Kind kind) {
  if (kind == Kind::other) return "";
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return "";
  struct stat status {};
  std::string bytes;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) bytes = pictureOf(tools, file, kind);
  close(file);
  return bytes.empty() ? "" : "data:image/jpeg;base64," + base64(bytes);
}

}  // namespace report

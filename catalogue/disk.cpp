#include "disk.h"

#include <fcntl.h>
#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

namespace catalogue {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kThreadsForWaiting = 8;
constexpr int kMostLayers = 8;  // volumes of volumes
constexpr const char* kVirtualBuses[] = {"/virtio", "/vmbus", "/vbd-"};

bool isVirtual(const fs::path& device) {
  std::error_code error;
  const std::string real = fs::canonical(device, error);
  return std::any_of(std::begin(kVirtualBuses), std::end(kVirtualBuses),
                     [&](const char* bus) { return real.find(bus) != std::string::npos; });
}

// Of a block device in /sys: a disk, a partition, or a volume over others.
bool isRotating(const fs::path& device, int layers = kMostLayers) {
  std::error_code error;
  bool isVolume = false;
  for (fs::directory_iterator part(device / "slaves", error), end; !error && part != end; part.increment(error)) {
    if (layers > 0 && isRotating(part->path(), layers - 1)) return true;
    isVolume = true;
  }
  if (isVolume || isVirtual(device)) return false;
  std::ifstream flag(device / "queue/rotational");
  if (!flag) flag.open(device / "../queue/rotational");  // of the disk that it is a partition of
  return flag.get() == '1';
}

std::optional<uint64_t> firstByte(int descriptor) {
  alignas(fiemap) unsigned char bytes[sizeof(fiemap) + sizeof(fiemap_extent)] = {};
  auto* const map = reinterpret_cast<fiemap*>(bytes);
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_extent_count = 1;
  if (ioctl(descriptor, FS_IOC_FIEMAP, map) != 0 || map->fm_mapped_extents == 0) return std::nullopt;
  fiemap_extent extent;
  std::memcpy(&extent, bytes + sizeof(fiemap), sizeof(extent));
  return extent.fe_physical;
}

}  // namespace

bool isOnRotatingDisk(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return false;
  return isRotating("/sys/dev/block/" + std::to_string(major(status.st_dev)) + ':' +
                    std::to_string(minor(status.st_dev)));
}

uint64_t placeOnDisk(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) return 0;
  const uint64_t place = firstByte(descriptor).value_or(status.st_ino);
  close(descriptor);
  return place;
}

unsigned threadsForFiles(bool isOnRotatingDisk) {
  return isOnRotatingDisk ? 1 : std::max(kThreadsForWaiting, std::thread::hardware_concurrency());
}

}  // namespace catalogue

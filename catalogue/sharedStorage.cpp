#include "sharedStorage.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#if defined(__linux__)
#include <linux/fiemap.h>
#include <linux/fs.h>
#endif

namespace catalogue {

#if defined(__linux__)

namespace {

constexpr uint32_t kMostExtents = 128;

// Extents without a place of their own that can be compared: not yet written, held in the directory of the file, ...
constexpr uint32_t kNoPlace = FIEMAP_EXTENT_UNKNOWN | FIEMAP_EXTENT_DELALLOC | FIEMAP_EXTENT_DATA_INLINE |
                              FIEMAP_EXTENT_DATA_TAIL | FIEMAP_EXTENT_NOT_ALIGNED;

}  // namespace

std::vector<Extent> sharedExtents(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return {};
  // The head, and room for the extents behind it.
  std::vector<uint64_t> room((sizeof(fiemap) + kMostExtents * sizeof(fiemap_extent)) / sizeof(uint64_t));
  auto* map = reinterpret_cast<fiemap*>(room.data());
  map->fm_length = FIEMAP_MAX_OFFSET;
  map->fm_extent_count = kMostExtents;
  const int failed = ioctl(descriptor, FS_IOC_FIEMAP, map);
  close(descriptor);
  if (failed != 0 || map->fm_mapped_extents > kMostExtents) return {};
  std::vector<Extent> extents;
  bool isLast = false;
  for (uint32_t i = 0; i < map->fm_mapped_extents; ++i) {
    const fiemap_extent& extent = map->fm_extents[i];
    if ((extent.fe_flags & FIEMAP_EXTENT_SHARED) == 0 || (extent.fe_flags & kNoPlace) != 0) return {};
    extents.push_back({extent.fe_logical, extent.fe_physical, extent.fe_length});
    isLast = (extent.fe_flags & FIEMAP_EXTENT_LAST) != 0;
  }
  return isLast ? extents : std::vector<Extent>();
}

#else

std::vector<Extent> sharedExtents(const std::string&) { return {}; }

#endif

}  // namespace catalogue

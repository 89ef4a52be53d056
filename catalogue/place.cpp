#include "place.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

#include "directoryTree.h"
#include "error.h"

namespace catalogue {
namespace {

namespace fs = std::filesystem;

// ---- Mounts ----

// A line of /proc/self/mountinfo.
struct Mount {
  uint64_t id = 0;
  std::string root;    // what of the file system is mounted
  std::string point;   // where
  std::string type;    // "ext4"
  std::string source;  // "/dev/sda1", "server:/export"
};

std::string withSlash(std::string path) {
  if (!path.ends_with('/')) path += '/';
  return path;
}

// Blanks, newlines and backslashes stand there as three octal digits.
std::string unescaped(const std::string& text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size()) {
      out += static_cast<char>((text[i + 1] - '0') << 6 | (text[i + 2] - '0') << 3 | (text[i + 3] - '0'));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::vector<Mount> allMounts() {
  std::vector<Mount> mounts;
  std::ifstream file("/proc/self/mountinfo");
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    Mount mount;
    std::string skipped;
    words >> mount.id >> skipped >> skipped >> mount.root >> mount.point;
    while (words >> skipped && skipped != "-") continue;
    words >> mount.type >> mount.source;
    mount.root = withSlash(unescaped(mount.root));
    mount.point = withSlash(unescaped(mount.point));
    mount.source = unescaped(mount.source);
    mounts.push_back(std::move(mount));
  }
  return mounts;
}

// Of the folder with this absolute path; a later mount covers an earlier one.
Mount mountOf(const std::vector<Mount>& mounts, uint64_t id, const std::string& folder) {
  const Mount* found = nullptr;
  for (const Mount& mount : mounts) {
    if (id != 0 ? mount.id == id
                : folder.starts_with(mount.point) && (!found || mount.point.size() >= found->point.size())) {
      found = &mount;
    }
  }
  return found != nullptr ? *found : Mount{0, "/", "/", "", ""};
}

// ---- File systems ----

bool isBlockDevice(const std::string& path, dev_t device) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode) && status.st_rdev == device;
}

// Some file systems give their files a device that is none; then the mount's source is the disk.
dev_t diskOf(dev_t device, const Mount& mount) {
  struct stat status {};
  const bool isDisk = mount.source.starts_with('/') && stat(mount.source.c_str(), &status) == 0;
  return isDisk && S_ISBLK(status.st_mode) ? status.st_rdev : device;
}

std::string uuidOf(dev_t disk) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/dev/disk/by-uuid", error)) {
    if (isBlockDevice(entry.path(), disk)) return entry.path().filename();
  }
  return "";
}

// As udev writes it. Told by newer kernels, of some file systems.
std::string uuidFromKernel(int folder) {
  struct Uuid {
    unsigned char length, bytes[16];
  } uuid{};
  if (ioctl(folder, _IOR(0x15, 0, Uuid), &uuid) != 0 || uuid.length != sizeof uuid.bytes) return "";
  std::string text;
  for (size_t i = 0; i < sizeof uuid.bytes; ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(uuid.bytes[i]));
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += digits;
  }
  return text;
}

std::string fileSystemOf(int folder, dev_t device, const Mount& mount) {
  std::string uuid = uuidOf(diskOf(device, mount));
  struct statfs status {};
  unsigned words[2] = {};
  static_assert(sizeof status.f_fsid == sizeof words);
  if (fstatfs(folder, &status) == 0) std::memcpy(words, &status.f_fsid, sizeof words);
  // One of a single word is the device's number, which another disk has next.
  if (uuid.empty() && words[1] == 0) uuid = uuidFromKernel(folder);
  if (!uuid.empty()) return "uuid:" + uuid;
  char digits[17];
  std::snprintf(digits, sizeof digits, "%08x%08x", words[0], words[1]);
  if (words[0] != 0 || words[1] != 0) return std::string("fsid:") + digits;
  return "source:" + mount.type + ":" + mount.source;
}

Descriptor opened(const std::string& folder) {
  return Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

std::string realPath(const std::string& folder) {
  char* real = realpath(folder.c_str(), nullptr);
  if (real == nullptr) throw Error(Error::Kind::notThere, std::generic_category().message(errno));
  std::string path = real;
  std::free(real);
  return withSlash(std::move(path));
}

Place placeAmong(const std::vector<Mount>& mounts, const std::string& folder) {
  const Descriptor descriptor = opened(folder);
  struct stat status {};
  if (descriptor.number() < 0 || fstat(descriptor.number(), &status) != 0) {
    throw Error(Error::Kind::notThere, std::generic_category().message(errno));
  }
  Place place;
  place.mounted = realPath(folder);
  const Mount mount = mountOf(mounts, mountIdOf(descriptor.number()), place.mounted);
  place.path =
      place.mounted.starts_with(mount.point) ? mount.root + place.mounted.substr(mount.point.size()) : place.mounted;
  place.fileSystem = fileSystemOf(descriptor.number(), status.st_dev, mount);
  return place;
}

bool isAt(const std::vector<Mount>& mounts, const Place& place, const std::string& folder) {
  try {
    return placeAmong(mounts, folder).isSame(place);
  } catch (const Error&) {
    return false;
  }
}

// Whether another file system is mounted above a folder that is not there, and so hides it.
bool isCovered(const std::vector<Mount>& mounts, const std::string& fileSystem, std::string folder) {
  struct stat status {};
  do {
    folder.erase(folder.rfind('/', folder.size() - 2) + 1);
  } while (folder.size() > 1 && lstat(folder.c_str(), &status) != 0);
  try {
    const Place above = placeAmong(mounts, folder);
    return above.mounted == folder && above.fileSystem != fileSystem;
  } catch (const Error&) {
    return true;
  }
}

}  // namespace

Place placeOf(const std::string& folder) { return placeAmong(allMounts(), folder); }

std::optional<std::string> pathNow(const Place& place) {
  const std::vector<Mount> mounts = allMounts();
  if (place.fileSystem == "unknown" || isAt(mounts, place, place.mounted)) return place.mounted;
  for (const Mount& mount : mounts) {
    if (!place.path.starts_with(mount.root)) continue;
    std::string path = mount.point + place.path.substr(mount.root.size());
    if (isAt(mounts, place, path)) return path;
  }
  return std::nullopt;
}

Absence absenceOf(const Place& place) {
  const std::vector<Mount> mounts = allMounts();
  Absence absence = Absence::disk;
  for (const Mount& mount : mounts) {
    const bool covers = place.path.starts_with(mount.root);
    if (!covers || !isAt(mounts, {place.fileSystem, mount.root, mount.point}, mount.point)) continue;
    const std::string path = mount.point + place.path.substr(mount.root.size());
    struct stat status {};
    const bool isThere = lstat(path.c_str(), &status) == 0;
    if (!isThere && !saysNotThere(errno)) continue;
    if (!isThere && !isCovered(mounts, place.fileSystem, path)) return Absence::folder;
    absence = Absence::hidden;
  }
  return absence;
}

std::string wordsOf(Absence absence) {
  constexpr const char* kWords[] = {"its disk is not here", "the folder is not there",
                                    "another disk is mounted over it"};
  return kWords[static_cast<size_t>(absence)];
}

bool areOneDevice(const std::string& folder, const std::string& other) {
  struct stat a {
  }, b{};
  return stat(folder.c_str(), &a) == 0 && stat(other.c_str(), &b) == 0 && a.st_dev == b.st_dev;
}

uint64_t mountIdOf([[maybe_unused]] int descriptor) {
#if defined(STATX_MNT_ID)
  struct statx status {};
  if (statx(descriptor, "", AT_EMPTY_PATH, STATX_MNT_ID, &status) == 0 && (status.stx_mask & STATX_MNT_ID) != 0) {
    return status.stx_mnt_id;
  }
#endif
  return 0;
}

bool isSystems(uint64_t mountId) {
  static const char* const kTypes[] = {"proc",    "sysfs",      "devtmpfs", "devpts", "cgroup",   "cgroup2",
                                       "debugfs", "tracefs",    "bpf",      "mqueue", "configfs", "securityfs",
                                       "pstore",  "hugetlbfs",  "efivarfs", "autofs", "fusectl",  "binfmt_misc",
                                       "nsfs",    "rpc_pipefs", "selinuxfs"};
  const Mount mount = mountOf(allMounts(), mountId, "");
  return std::find(std::begin(kTypes), std::end(kTypes), mount.type) != std::end(kTypes);
}

std::string absoluteFolder(const std::string& folder) {
  std::error_code error;
  const fs::path absolute = fs::absolute(folder, error);
  const fs::path path = fs::weakly_canonical(absolute, error);
  return withSlash(error ? absolute.lexically_normal().string() : path.string());
}

}  // namespace catalogue

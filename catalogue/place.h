// Where a folder is: its file system and its path there, which stay the same when the disk is mounted elsewhere.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace catalogue {

struct Place {
  std::string fileSystem;  // as roots.file_system
  std::string path;        // of the folder on it, from '/' on, with '/' at its end
  std::string mounted;     // absolute path of the folder, with '/' at its end, no symbolic link in it

  bool isSame(const Place& other) const { return fileSystem == other.fileSystem && path == other.path; }
};

// Throws Error::notThere with the system's reason when it is no directory that can be opened.
Place placeOf(const std::string& folder);

// The path that leads to a place now; nothing when its file system is not mounted, or the folder is not there. It is
// `mounted` as long as that is right.
std::optional<std::string> pathNow(const Place& place);

// Why a place has no path now.
enum class Absence {
  disk,    // its file system is not mounted
  folder,  // that is, but the folder is not there
  hidden   // another file system is mounted over it
};
Absence absenceOf(const Place& place);
std::string wordsOf(Absence absence);  // "its disk is not here"

// Whether two folders are there and on one device, which disks that were copied with their identity are not.
bool areOneDevice(const std::string& folder, const std::string& other);

// Identifies the mount that a descriptor's file is reached through; 0 where the system does not tell.
uint64_t mountIdOf(int descriptor);

// Whether what is mounted there holds no files of a user: /proc and its like.
bool isSystems(uint64_t mountId);

// The absolute path, with '/' at its end, that a name of a folder stands for whether or not there is such a folder.
std::string absoluteFolder(const std::string& folder);

}  // namespace catalogue

// A slow file system for measurements: shows a folder read-only, and each read takes a while before it is served, up to
// DEPTH at once (a FUSE file system that says nothing has 10).
//
//   slowfs FOLDER MILLISECONDS DEPTH MOUNTPOINT [OPTION]...
#define FUSE_USE_VERSION 31

#include <dirent.h>
#include <fcntl.h>
#include <fuse.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string folder;
std::chrono::milliseconds wait;
unsigned depth;

int answer(int result) { return result < 0 ? -errno : result; }

void* start(fuse_conn_info* connection, fuse_config*) {
  connection->max_background = depth + depth / 5;  // what the kernel asks for ahead: 12 to 10 threads by default
  return nullptr;
}

int getAttributes(const char* path, struct stat* status, fuse_file_info*) {
  return answer(lstat((folder + path).c_str(), status));
}

int readFolder(const char* path, void* entries, fuse_fill_dir_t fill, off_t, fuse_file_info*, fuse_readdir_flags) {
  DIR* directory = opendir((folder + path).c_str());
  if (directory == nullptr) return -errno;
  while (const dirent* entry = readdir(directory)) fill(entries, entry->d_name, nullptr, 0, fuse_fill_dir_flags{});
  closedir(directory);
  return 0;
}

int openFile(const char* path, fuse_file_info* file) {
  const int descriptor = open((folder + path).c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return -errno;
  file->fh = static_cast<uint64_t>(descriptor);
  return 0;
}

int readFile(const char*, char* buffer, size_t count, off_t offset, fuse_file_info* file) {
  std::this_thread::sleep_for(wait);
  return answer(static_cast<int>(pread(static_cast<int>(file->fh), buffer, count, offset)));
}

int closeFile(const char*, fuse_file_info* file) { return answer(close(static_cast<int>(file->fh))); }

}  // namespace

int main(int argc, char** argv) {
  if (argc < 5) {
    std::fputs("usage: slowfs FOLDER MILLISECONDS DEPTH MOUNTPOINT [OPTION]...\n", stderr);
    return 2;
  }
  folder = argv[1];
  wait = std::chrono::milliseconds(std::atoi(argv[2]));
  depth = static_cast<unsigned>(std::atoi(argv[3]));
  std::string threads = "-omax_threads=" + std::to_string(depth);
  std::vector<char*> arguments = {argv[0], threads.data()};
  arguments.insert(arguments.end(), argv + 4, argv + argc);

  fuse_operations operations = {};
  operations.init = start;
  operations.getattr = getAttributes;
  operations.readdir = readFolder;
  operations.open = openFile;
  operations.read = readFile;
  operations.release = closeFile;
  return fuse_main(static_cast<int>(arguments.size()), arguments.data(), &operations, nullptr);
}

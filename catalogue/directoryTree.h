// A directory whose files are taken. It is held open, and what it holds is opened name by name from there without
// following a symbolic link: whatever happens to names while a walk goes on, the walk stays in its tree.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace catalogue {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  int number() const { return number_; }
  int release();

 private:
  int number_;
};

class DirectoryTree : public std::enable_shared_from_this<DirectoryTree> {
 public:
  // Follows a link that path is. Nothing on failure, with the reason in errno.
  static std::shared_ptr<const DirectoryTree> open(const std::string& path);

  // What stands at a path within the tree, to be found again as pathOf(descriptor) and not to be read from. A number
  // below 0 on failure, with the reason in errno.
  Descriptor find(std::string_view below) const;

  // Opens for reading what stands at a path within the tree; an empty one is the tree's own directory. As find; it does
  // not wait for a pipe's writer.
  Descriptor openToRead(std::string_view below) const;

  // Appends the names of files and, with a slash at their end, of directories in a directory of the tree; an empty path
  // is the tree's own. Everything else is passed over. Gives errno, or 0.
  int readNames(std::string_view below, std::vector<std::string>* names) const;

  // The same of a directory opened to be read, which stays the caller's; the names of everything else go to others,
  // which may be null.
  static int readNames(int directory, std::vector<std::string>* names, std::vector<std::string>* others);

 private:
  explicit DirectoryTree(Descriptor root) : root_(std::move(root)) {}
  Descriptor openBelow(std::string_view below, int flags) const;
  Descriptor openAt(std::string_view below, int flags) const;

  Descriptor root_;
};

// Whether this errno of find and openToRead says that nothing to be read stands there, and not that it cannot be told.
bool saysNotThere(int error);

// A path that opens what the descriptor stands for; empty where the system has none.
std::string pathOf(const Descriptor& descriptor);

}  // namespace catalogue

// What the disk that files lie on means for the work on them.
//
// A read of a cold file waits. Other disks, networks and FUSE serve several reads at once, so more threads than there
// are processors fill the waiting; a rotating disk is slower the more places it is asked for, and fastest in one sweep.
#pragma once

#include <cstdint>
#include <string>

namespace catalogue {

// Whether a file or directory lies on a disk that rotates; false where that is not known: on networks, overlays, file
// systems over several disks, and for the disks of virtual machines, which say they do, whatever is behind them.
bool isOnRotatingDisk(const std::string& path);

// What to sort regular files of one file system by, so that a rotating disk reads them in one sweep: where the first
// byte lies or, where that is not told, the number of the inode. 0 for a file that cannot be opened.
uint64_t placeOnDisk(const std::string& path);

// How many threads work on files there when nobody says how many.
unsigned threadsForFiles(bool isOnRotatingDisk);

}  // namespace catalogue

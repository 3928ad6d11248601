// Private namespaces and directories: a process moves into a machine of its own, in which the fixed paths are empty.
// Everything throws std::system_error, whose text names what could not be had.
#pragma once

#include <filesystem>
#include <vector>

namespace vostool {

/** Moves this process, which must have one thread, into new namespaces (CLONE_NEW…, among them CLONE_NEWNS), with a
 * user namespace as well where this account may not otherwise; it is root there. Nothing mounted from now on is seen
 *  outside. */
void enterNamespaces(int spaces);

/** Puts an empty directory in the place of `path`; of `keep` what lies below it stays visible. */
void hideDirectory(const std::filesystem::path &path, const std::vector<std::filesystem::path> &keep,
                   const char *mode = "mode=1777");

/** Mounts a file system of the kernel's on a directory. */
void mountKernelFiles(const char *type, const char *path, const char *options = "");

/** Brings the loopback interface up. */
void raiseLoopback();

}  // namespace vostool

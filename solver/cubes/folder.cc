// SPDX-License-Identifier: MIT
#include "solver/cubes/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

namespace vorn::solver {
namespace {

// What a disk has said yes to it may still hold in memory.
bool reaches_disk(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool done = fsync(fd) == 0 || errno == EINVAL;
  const int error = errno;
  close(fd);
  errno = error;
  return done;
}

}  // namespace

bool write_whole(const std::string& path,
                 const std::function<bool(std::ostream&)>& write) {
  struct stat status = {};
  // What is no file, a pipe or a link say, is written to at once.
  const bool is_direct =
      lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
  const std::string partial =
      is_direct ? path : path + ".partial-" + std::to_string(getpid());
  errno = 0;
  std::ofstream file(partial, std::ios::binary);
  bool done = file.is_open() && write(file);
  file.close();
  done = done && file.good();
  if (!is_direct) {
    done = done && reaches_disk(partial) &&
           std::rename(partial.c_str(), path.c_str()) == 0;
    const int error = errno;
    if (!done) std::remove(partial.c_str());
    errno = error;
  }
  return done;
}

bool CubeFolder::fail(const char* what, const std::string& path) {
  error_ = std::string(what) + ' ' + path;
  if (errno != 0) error_ += std::string(": ") + std::strerror(errno);
  return false;
}

bool CubeFolder::make() {
  constexpr mode_t kMode = 0777;  // the user's mask takes away from it
  if (mkdir(path_.c_str(), kMode) == 0) return true;
  if (errno != EEXIST) return fail("cannot make", path_);
  const auto found = names();
  if (!found.has_value()) return false;
  if (found->empty()) return true;
  error_ = path_ + " has something in it, " + found->front() +
           " for one; a question is split into a folder of its own";
  return false;
}

bool CubeFolder::write(const std::string& name,
                       const std::function<bool(std::ostream&)>& write) {
  if (write_whole(path_of(name), write)) return true;
  return fail("cannot write", path_of(name));
}

bool CubeFolder::write(const std::string& name, const std::string& text) {
  return write(name, [&text](std::ostream& out) {
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
    return true;
  });
}

std::optional<std::string> CubeFolder::read(const std::string& name) {
  errno = 0;
  std::ifstream file(path_of(name), std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(file),
                   std::istreambuf_iterator<char>()};
  if (file.is_open() && !file.bad()) return text;
  fail("cannot read", path_of(name));
  return std::nullopt;
}

std::optional<std::vector<std::string>> CubeFolder::names() {
  DIR* folder = opendir(path_.c_str());
  if (folder == nullptr) {
    fail("cannot read", path_);
    return std::nullopt;
  }
  std::vector<std::string> names;
  while (const dirent* entry = readdir(folder)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(folder);
  std::sort(names.begin(), names.end());
  return names;
}

void CubeFolder::remove(const std::string& name) const {
  std::remove(path_of(name).c_str());
}

}  // namespace vorn::solver

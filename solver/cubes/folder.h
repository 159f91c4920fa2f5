// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_FOLDER_H
#define VORN_CUBES_FOLDER_H

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace vorn::solver {

/// The files of a question that was split. Each is there as a whole or not at
/// all, whatever ends the process that writes it.
///
/// Errors: calls that can fail return false or nothing, and error() says why,
/// with the file's name.
class CubeFolder {
 public:
  /// The folder of this path, which need not be there.
  explicit CubeFolder(std::string path) : path_(std::move(path)) {}

  /// Makes the folder, if it is not there. False if it has anything in it.
  bool make();
  /// Writes a file under another name, and renames it when the disk has all of
  /// it. False if `write` returns false, which says why, or anything fails.
  bool write(const std::string& name,
             const std::function<bool(std::ostream&)>& write);
  /// The same for a text.
  bool write(const std::string& name, const std::string& text);
  /// What a file holds.
  std::optional<std::string> read(const std::string& name);
  /// The names of all files, sorted.
  std::optional<std::vector<std::string>> names();
  /// Removes a file; it may be missing.
  void remove(const std::string& name) const;
  /// Where a file is.
  std::string path_of(const std::string& name) const {
    return path_ + '/' + name;
  }

  /// Why the last call failed.
  const std::string& error() const { return error_; }

 private:
  bool fail(const char* what, const std::string& path);

  std::string path_;
  std::string error_;
};

/// Writes a file by CubeFolder's rules; the file may be anywhere.
bool write_whole(const std::string& path,
                 const std::function<bool(std::ostream&)>& write);

}  // namespace vorn::solver

#endif  // VORN_CUBES_FOLDER_H

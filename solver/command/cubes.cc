// SPDX-License-Identifier: MIT
#include "solver/command/cubes.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>

#include "vorn/solver/cubes.h"

namespace vorn::command {
namespace {

constexpr int kFailure = 1;

int fail(const std::string& message) {
  std::cerr << "vorn: " << message << '\n';
  return kFailure;
}

std::optional<std::string> read_all(const std::string& file) {
  errno = 0;
  std::ifstream opened;
  if (file != "-") opened.open(file, std::ios::binary);
  std::istream& in = file == "-" ? std::cin : opened;
  std::string text{std::istreambuf_iterator<char>(in),
                   std::istreambuf_iterator<char>()};
  if (in.bad() || (file != "-" && !opened.is_open()) || errno == EISDIR) {
    fail("cannot read " + file +
         (errno == 0 ? "" : std::string(": ") + std::strerror(errno)));
    return std::nullopt;
  }
  return text;
}

int print(const std::string& text) {
  std::cout << text << std::flush;
  return std::cout ? 0 : fail("cannot write standard output");
}

// Settings of a check, and nothing else.
template <class Settings>
Settings with(const api::Settings& settings) {
  Settings result;
  static_cast<api::Settings&>(result) = settings;
  result.recording = nullptr;
  return result;
}

}  // namespace

int split_script(const std::string& file, const std::string& number,
                 const std::string& folder, const api::Settings& settings) {
  constexpr std::size_t kMost = 100000;
  auto split = with<api::SplitSettings>(settings);
  split.num_cubes = std::strtoul(number.c_str(), nullptr, 10);
  constexpr std::size_t kMostDigits = 6;
  if (number.empty() || number.size() > kMostDigits ||
      number.find_first_not_of("0123456789") != std::string::npos ||
      split.num_cubes == 0 || split.num_cubes > kMost) {
    return fail("--split: expected a number of cubes from 1 to " +
                std::to_string(kMost) + ", not " + number);
  }
  const std::optional<std::string> script = read_all(file);
  if (!script.has_value()) return kFailure;
  const api::SplitResult result = api::split_question(*script, folder, split);
  if (!result.error.empty()) {
    const bool is_script = result.error.rfind("line ", 0) == 0;
    return fail((is_script ? file + ": " : "") + result.error);
  }
  return print("; " + std::to_string(result.num_cubes) + " cubes in " + folder +
               ", " + std::to_string(result.num_answered) +
               " of them answered\n");
}

int join_folder(const std::string& folder, const std::string& proof_file,
                const api::Settings& settings) {
  auto join = with<api::JoinSettings>(settings);
  join.proof_file = proof_file;
  const api::JoinResult result = api::join_answers(folder, join);
  if (!result.error.empty()) return fail(result.error);
  const int status = print(result.reply);
  if (!result.proof_error.empty()) {
    return fail("no proof is written: " + result.proof_error);
  }
  return status;
}

}  // namespace vorn::command

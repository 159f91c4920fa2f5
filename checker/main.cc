// SPDX-License-Identifier: MIT
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "checker/checker.h"

namespace vorn::checker {
namespace {

constexpr int kValid = 0;
constexpr int kInvalid = 1;
constexpr int kNotChecked = 2;

const char kUsage[] =
    "usage: vorn-check [OPTIONS] SCRIPT PROOF\n"
    "       vorn-check [OPTIONS] --core SCRIPT PROOF ANSWER\n"
    "       vorn-check [OPTIONS] --model SCRIPT ANSWER\n"
    "Checks a proof that a check of an SMT-LIB script is unsatisfiable, or\n"
    "evaluates the model in a printed answer. Says \"valid\", or what is "
    "wrong.\n"
    "  --assume F  the check assumes the formula F as well\n"
    "  --check N   the check to look at, from 1; otherwise the last one\n"
    "  --core      the proof must follow from the core in the answer\n"
    "  --model     the answer is sat with a model\n"
    "Exit status: 0 valid, 1 not valid, 2 not checked.\n";

struct Arguments {
  std::string task;  // "--core", "--model" or, for a proof alone, ""
  Question question;
  std::vector<std::string> files;
};

// Whether the arguments make sense.
bool read_arguments(const std::vector<std::string>& words, Arguments& result) {
  bool is_file = false;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (is_file || word.empty() || word[0] != '-') {
      result.files.push_back(word);
    } else if (word == "--") {
      is_file = true;
    } else if (word == "--assume" && i + 1 < words.size()) {
      result.question.assumed += words[++i] + '\n';
    } else if (word == "--check" && i + 1 < words.size()) {
      // No number that is wanted has ten digits.
      const std::string& digits = words[++i];
      const bool is_number =
          digits.size() < 10 &&
          digits.find_first_not_of("0123456789") == std::string::npos;
      result.question.check =
          is_number ? std::strtoul(digits.c_str(), nullptr, 10) : 0;
      if (result.question.check == 0) return false;
    } else if ((word == "--core" || word == "--model") && result.task.empty()) {
      result.task = word;
    } else {
      return false;
    }
  }
  return result.files.size() == (result.task == "--core" ? 3 : 2);
}

std::ifstream open_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) throw std::runtime_error("cannot open " + path);
  return file;
}

std::string read_file(const std::string& path) {
  std::ifstream file = open_file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

int run(Arguments& arguments) {
  const std::vector<std::string>& files = arguments.files;
  Question& question = arguments.question;
  question.script = read_file(files[0]);
  std::string answer;
  if (!arguments.task.empty()) {
    answer = read_file(files.back());
    question.answer = &answer;
  }
  std::ifstream proof;
  if (arguments.task != "--model") {
    proof = open_file(files[1]);
    question.proof = &proof;
  }
  const Outcome outcome = check(question);
  // By Outcome::File.
  const std::string names[] = {files[0], "--assume", files[1], files.back()};
  if (outcome.is_valid) {
    std::cout << "valid\n";
  } else {
    std::cout << "invalid\n"
              << names[static_cast<std::size_t>(outcome.file)] << ": line "
              << outcome.position.line << " column " << outcome.position.column
              << ": " << outcome.reason << '\n';
  }
  if (!std::cout.flush()) return kNotChecked;
  return outcome.is_valid ? kValid : kInvalid;
}

}  // namespace
}  // namespace vorn::checker

int main(int argc, char** argv) try {
  namespace checker = vorn::checker;
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.size() == 1 && (words[0] == "--help" || words[0] == "-h")) {
    return std::fputs(checker::kUsage, stdout) < 0 ? checker::kNotChecked : 0;
  }
  if (words.size() == 1 && words[0] == "--version") {
    return std::puts("vorn-check " VORN_VERSION) < 0 ? checker::kNotChecked : 0;
  }
  checker::Arguments arguments;
  if (checker::read_arguments(words, arguments)) return checker::run(arguments);
  std::fputs(checker::kUsage, stderr);
  return checker::kNotChecked;
} catch (const std::exception& exception) {
  std::fprintf(stderr, "vorn-check: not checked: %s\n", exception.what());
  return vorn::checker::kNotChecked;
}

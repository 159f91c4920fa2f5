// SPDX-License-Identifier: MIT
#ifndef VORN_CUBES_QUIET_HOST_H
#define VORN_CUBES_QUIET_HOST_H

#include <cstdint>
#include <string>
#include <string_view>

#include "solver/engine/engine.h"
#include "solver/smtlib/session_host.h"

namespace vorn::solver {

/// The host of a script that is run for what can be learnt from it: it keeps
/// what is written, and the engine.
class QuietHost : public SessionHost {
 public:
  bool write_output(std::string_view reply) override {
    output_ += reply;
    return true;
  }
  bool write_diagnostics(std::string_view /*reply*/) override { return true; }
  bool set_output(const std::string& /*channel*/) override { return true; }
  bool set_diagnostics(const std::string& /*channel*/,
                       std::uint64_t /*verbosity*/) override {
    return true;
  }
  void engine_made(Engine& engine) override { engine_ = &engine; }
  void engine_gone() override { engine_ = nullptr; }

  /// All replies.
  const std::string& output() const { return output_; }
  /// The message of the first error, "line 1 column 2: ..."; empty: there is
  /// none.
  std::string first_error() const {
    const std::string start = "(error \"";
    const std::size_t begin = output_.find(start);
    if (begin == std::string::npos) return "";
    const std::size_t end = output_.find("\")\n", begin);
    std::string message =
        output_.substr(begin + start.size(), end - begin - start.size());
    for (std::size_t k = message.find("\"\""); k != std::string::npos;
         k = message.find("\"\"", k + 1)) {
      message.erase(k, 1);
    }
    return message;
  }
  /// Null while there is none.
  Engine* engine() const { return engine_; }

 private:
  std::string output_;
  Engine* engine_ = nullptr;
};

}  // namespace vorn::solver

#endif  // VORN_CUBES_QUIET_HOST_H

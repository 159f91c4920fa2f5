// SPDX-License-Identifier: MIT
#ifndef VORN_SOLVER_C_GUARD_H
#define VORN_SOLVER_C_GUARD_H

#include <atomic>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "solver/c/vorn.h"
#include "vorn/numbers/q_number.h"

namespace vorn::c {

/// What makes a call fail; thrown inside, and never let out.
struct Failure {
  /// What the call returns.
  vorn_error error;
  /// The same in words; empty where the error says all.
  std::string text;
};

/// Fails unless something holds.
inline void require(bool holds, vorn_error error, const char* text) {
  if (!holds) throw Failure{error, text};
}

/// A number that somebody wrote.
inline QNumber read_number(const char* text) {
  require(text != nullptr, VORN_ERROR_ARGUMENT, "a number is missing");
  std::optional<QNumber> number = QNumber::from_string(text);
  if (!number) {
    throw Failure{VORN_ERROR_ARGUMENT, "no number: " + std::string(text)};
  }
  return *std::move(number);
}

/// A number as a word, if it is one.
inline std::int64_t word_of(const QNumber& number) {
  if (number.is_integer()) {
    const QNumber whole = number.floor();
    if (whole.is_word()) return whole.word();
    if (whole == QNumber(INT64_MIN)) return INT64_MIN;
  }
  throw Failure{VORN_ERROR_RANGE,
                number.to_str() + " is no integer of 64 bits"};
}

/// How the last call for an object went, and that only one is under way.
///
/// A call that finds another one under way touches nothing of the object.
class Guard {
 public:
  /// Runs a call. What it throws is what it fails with.
  template <class Call>
  vorn_error run(const Call& call) noexcept {
    if (busy_.exchange(true, std::memory_order_acquire)) {
      return VORN_ERROR_BUSY;
    }
    vorn_error error = VORN_OK;
    try {
      call();
    } catch (Failure& failure) {
      error = failure.error;
      text_ = std::move(failure.text);
    } catch (const std::bad_alloc&) {
      error = VORN_ERROR_MEMORY;
    } catch (const std::length_error&) {
      error = VORN_ERROR_MEMORY;
    } catch (...) {
      error = VORN_ERROR_DEFECT;
    }
    error_.store(error, std::memory_order_relaxed);
    busy_.store(false, std::memory_order_release);
    return error;
  }
  /// Runs a call for its value, which is `failed` if it fails.
  template <class Result, class Call>
  Result value(const Result& failed, const Call& call) noexcept {
    Result result = failed;
    return run([&] { result = call(); }) == VORN_OK ? result : failed;
  }

  /// How the last call went; VORN_ERROR_BUSY while one is under way.
  vorn_error error() const noexcept {
    return busy_.load(std::memory_order_acquire)
               ? VORN_ERROR_BUSY
               : error_.load(std::memory_order_relaxed);
  }
  /// The same in words.
  const char* text() const noexcept {
    const vorn_error error = this->error();
    const bool has_text =
        error == VORN_ERROR_ARGUMENT || error == VORN_ERROR_OUTSIDE ||
        error == VORN_ERROR_STATE || error == VORN_ERROR_RANGE;
    return has_text ? text_.c_str() : vorn_error_name(error);
  }

 private:
  std::atomic<bool> busy_{false};
  std::atomic<vorn_error> error_{VORN_OK};
  // Of errors that have one.
  std::string text_;
};

}  // namespace vorn::c

#endif  // VORN_SOLVER_C_GUARD_H

// SPDX-License-Identifier: MIT
//
// A school's timetable: lessons of an hour, none of which has a teacher, a
// class or the only laboratory twice at a time; what people wish for, by
// weight; and, once one wish more is made a rule, why it cannot be.
//
// Prints examples/expected/timetable.txt.

#include <cstddef>
#include <iomanip>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "vorn/solver/session.h"

namespace {

using vorn::api::Answer;
using vorn::api::Expression;
using vorn::api::Formula;
using vorn::api::Session;

constexpr int kFirstHour = 8;
constexpr int kLastHour = 12;

struct Lesson {
  std::string name;
  std::string teacher;
  std::string group;
  bool needs_laboratory;
};

const std::vector<Lesson>& lessons() {
  static const std::vector<Lesson> all = {
      {"physics 9a", "Ida", "9a", true},
      {"physics 9b", "Ida", "9b", true},
      {"chemistry 9a", "Jan", "9a", true},
      {"chemistry 9b", "Jan", "9b", true},
      {"mathematics 9a", "Ida", "9a", false},
      {"mathematics 9b", "Eva", "9b", false},
      {"music 9a", "Jan", "9a", false},
      {"music 9b", "Eva", "9b", false},
  };
  return all;
}

/// A session about the hours at which lessons begin.
class Timetable {
 public:
  Timetable() : session_(settings()) {
    for (const Lesson& lesson : lessons()) {
      const Expression hour = session_.integer(lesson.name);
      session_.add(hour >= kFirstHour && hour <= kLastHour);
      hours_.push_back(hour);
    }
    for (std::size_t a = 0; a < lessons().size(); ++a) {
      for (std::size_t b = 0; b < a; ++b) keep_apart(a, b);
    }
  }

  /// When a lesson begins.
  const Expression& hour(const std::string& name) const {
    for (std::size_t k = 0; k < lessons().size(); ++k) {
      if (lessons()[k].name == name) return hours_[k];
    }
    return hours_.at(lessons().size());  // which throws
  }
  /// That all lessons in the laboratory begin between two hours.
  Formula in_laboratory(int first, int last) {
    std::vector<Formula> all;
    for (std::size_t k = 0; k < hours_.size(); ++k) {
      if (!lessons()[k].needs_laboratory) continue;
      all.push_back(hours_[k] >= first && hours_[k] <= last);
    }
    return session_.all(all);
  }
  /// A wish, and how much it costs not to grant it.
  void wish(const std::string& text, int cost, const Formula& formula) {
    session_.soften(formula, cost);
    wishes_.push_back({text, formula});
  }
  /// A wish that must be granted.
  void insist(const std::string& text, const Formula& formula) {
    session_.add(formula, text);
  }

  /// Prints the best timetable, or which rules leave none.
  void print() {
    session_.push();
    // Of equally good ones that whose first lessons are early.
    for (const Expression& hour : hours_) session_.minimize(hour);
    print_best();
    session_.pop();
  }

 private:
  void print_best() {
    if (session_.check() != Answer::kSat) {
      std::cout << "there is no timetable with all of these:\n";
      for (const std::string& rule : session_.core()) {
        std::cout << "  " << rule << '\n';
      }
      return;
    }
    for (std::size_t k = 0; k < hours_.size(); ++k) {
      std::cout << std::setw(2) << session_.value(hours_[k]) << "  "
                << lessons()[k].name << '\n';
    }
    for (const auto& [text, formula] : wishes_) {
      std::cout << (session_.value(formula) ? "granted: " : "refused: ") << text
                << '\n';
    }
    std::cout << "cost " << session_.objectives().at(0).best.high.value
              << "\n\n";
  }

  static vorn::api::Settings settings() {
    vorn::api::Settings settings;
    settings.minimize_cores = true;
    return settings;
  }

  void keep_apart(std::size_t a, std::size_t b) {
    const Lesson& one = lessons()[a];
    const Lesson& other = lessons()[b];
    if (one.teacher != other.teacher && one.group != other.group &&
        !(one.needs_laboratory && other.needs_laboratory)) {
      return;
    }
    session_.add(!equal(hours_[a], hours_[b]));
  }

  Session session_;
  std::vector<Expression> hours_;
  std::vector<std::pair<std::string, Formula>> wishes_;
};

}  // namespace

int main() {
  Timetable table;
  table.wish("physics 9a before chemistry 9a", 1,
             table.hour("physics 9a") < table.hour("chemistry 9a"));
  table.wish("Jan starts at 10", 3,
             table.hour("chemistry 9a") >= 10 &&
                 table.hour("chemistry 9b") >= 10 &&
                 table.hour("music 9a") >= 10);
  table.wish("music last", 2,
             table.hour("music 9a") >= 12 && table.hour("music 9b") >= 12);
  table.wish(
      "mathematics first", 2,
      table.hour("mathematics 9a") <= 8 && table.hour("mathematics 9b") <= 8);
  table.wish("Ida has ten o'clock off", 4,
             !equal(table.hour("physics 9a"), 10) &&
                 !equal(table.hour("physics 9b"), 10) &&
                 !equal(table.hour("mathematics 9a"), 10));
  table.print();

  table.insist("the laboratory is cleaned at 8", table.in_laboratory(9, 12));
  table.insist("no experiments at noon", table.in_laboratory(8, 11));
  table.insist("music is at 12", equal(table.hour("music 9a"), 12));
  table.print();
}

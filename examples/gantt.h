// SPDX-License-Identifier: MIT
#ifndef VORN_GANTT_H
#define VORN_GANTT_H

#include <cstddef>
#include <iostream>
#include <ostream>
#include <string>
#include <vector>

#include "solver/terms/term.h"

// Schedules as pictures, for the job-shop example.

struct Operation {
  int machine;
  int duration;
  // The unknown, and what it was found to be.
  const vorn::solver::Term* start;
  int start_time = 0;
};
using Job = std::vector<Operation>;

inline void print_starts(const std::vector<Job>& jobs) {
  for (std::size_t j = 0; j < jobs.size(); ++j) {
    std::cout << "job " << static_cast<char>('A' + j % 26) << " starts at";
    for (const Operation& o : jobs[j]) std::cout << ' ' << o.start_time;
    std::cout << '\n';
  }
}

// A row for each machine, a letter for each job.
inline void print_chart(const std::vector<Job>& jobs, int length) {
  const int scale = length / 72 + 1;
  const auto columns = static_cast<std::size_t>(length / scale + 1);
  for (std::size_t m = 0; m < jobs[0].size(); ++m) {
    std::string row(columns, '.');
    for (std::size_t j = 0; j < jobs.size(); ++j) {
      for (const Operation& o : jobs[j]) {
        if (static_cast<std::size_t>(o.machine) != m) continue;
        for (int t = o.start_time; t < o.start_time + o.duration; ++t) {
          row[static_cast<std::size_t>(t / scale)] =
              static_cast<char>('A' + j % 26);
        }
      }
    }
    std::cout << "machine " << m << (m < 10 ? "  " : " ") << row << '\n';
  }
}

inline void write_svg(const std::vector<Job>& jobs, int length,
                      std::ostream& out) {
  const double unit = 900.0 / length;
  out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"920\" height=\""
      << 24 * jobs[0].size() + 20 << "\" font-family=\"sans-serif\">\n";
  for (std::size_t j = 0; j < jobs.size(); ++j) {
    for (const Operation& o : jobs[j]) {
      const double x = 10 + unit * o.start_time;
      const int y = 10 + 24 * o.machine;
      out << "<rect x=\"" << x << "\" y=\"" << y << "\" height=\"20\" width=\""
          << unit * o.duration << "\" stroke=\"white\" fill=\"hsl("
          << 360 * j / jobs.size() << ",60%,70%)\"/><text x=\"" << x + 2
          << "\" y=\"" << y + 14 << "\" font-size=\"10\">" << j << "</text>\n";
    }
  }
  out << "</svg>\n";
}

#endif  // VORN_GANTT_H

// SPDX-License-Identifier: MIT
//
//   jobshop TABLE [--svg FILE]
//
// Finds a shortest schedule of a job-shop table, and proves that there is no
// shorter one. Prints the makespan, the start of each operation and a chart.
//
// The engine is asked again and again, "is there one that ends a little
// sooner?", until the answer is no. It keeps what it has learnt from question
// to question, so the last one, the proof, starts well prepared.

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "examples/gantt.h"
#include "solver/engine/engine.h"
#include "solver/terms/term_store.h"

namespace {

using vorn::solver::Answer;
using vorn::solver::Sort;
using vorn::solver::Term;

// The form of the table: numbers of jobs and machines, then for each job a pair
// "machine duration" for each operation, in the order in which they must run.
bool read_table(std::istream& in, vorn::solver::TermStore& terms,
                std::vector<Job>& jobs) {
  std::size_t num_jobs = 0;
  std::size_t num_machines = 0;
  if (!(in >> num_jobs >> num_machines) || num_machines == 0) return false;
  for (std::size_t j = 0; j < num_jobs; ++j) {
    jobs.emplace_back();
    for (std::size_t i = 0; i < num_machines; ++i) {
      Operation operation = {};
      in >> operation.machine >> operation.duration;
      operation.start = terms.make_fresh_symbol("start", Sort::kInt);
      jobs.back().push_back(operation);
    }
  }
  return static_cast<bool>(in) && num_jobs > 0;
}

class Shop {
 public:
  Shop(vorn::solver::TermStore& terms, std::vector<Job>& jobs)
      : terms_(terms), jobs_(jobs), engine_(terms) {
    const Term* zero = number(0);
    std::vector<const Operation*> seen;
    for (const Job& job : jobs_) {
      engine_.assert_term(terms_.make_leq(zero, job.front().start));
      for (std::size_t i = 1; i < job.size(); ++i) {
        engine_.assert_term(before(job[i - 1], job[i]));
      }
      // A machine does one operation at a time.
      for (const Operation& here : job) {
        for (const Operation* other : seen) {
          if (other->machine != here.machine) continue;
          engine_.assert_term(
              terms_.make_or(before(*other, here), before(here, *other)));
        }
      }
      for (const Operation& operation : job) seen.push_back(&operation);
    }
  }

  // Leaves a shortest schedule in the jobs and gives its length.
  int minimise() {
    int best = 0;
    while (engine_.check() == Answer::kSat) {
      best = take_schedule();
      // Over the previous line of this kind; the answer goes to another stream.
      std::cerr << "\rlength " << best << ' ' << std::flush;
      // Shorter ones only, from now on. The bound falls, so it can stay.
      for (const Job& job : jobs_) {
        const int latest = best - 1 - job.back().duration;
        engine_.assert_term(terms_.make_leq(job.back().start, number(latest)));
      }
    }
    std::cerr << "is the shortest\n";
    return best;
  }

 private:
  const Term* number(int n) { return terms_.make_number(vorn::QNumber(n)); }
  // "a ends before b starts", as a.start + a.duration <= b.start.
  const Term* before(const Operation& a, const Operation& b) {
    return terms_.make_leq(terms_.make_plus(a.start, number(a.duration)),
                           b.start);
  }

  // The model's order of operations, each started as early as that order
  // allows, which may end sooner than the model itself.
  int take_schedule() {
    std::vector<Operation*> order;
    for (Job& job : jobs_) {
      for (Operation& o : job) {
        o.start_time =
            std::atoi(engine_.number_value(o.start).to_str().c_str());
        order.push_back(&o);
      }
    }
    std::stable_sort(order.begin(), order.end(), [](auto* a, auto* b) {
      return a->start_time < b->start_time;
    });
    int length = 0;
    std::vector<int> job_free(jobs_.size()), machine_free;
    for (Operation* o : order) {
      const auto m = static_cast<std::size_t>(o->machine);
      if (m >= machine_free.size()) machine_free.resize(m + 1);
      std::size_t j = 0;
      while (o < &jobs_[j].front() || o > &jobs_[j].back()) ++j;
      o->start_time = std::max(job_free[j], machine_free[m]);
      job_free[j] = machine_free[m] = o->start_time + o->duration;
      length = std::max(length, job_free[j]);
    }
    return length;
  }

  vorn::solver::TermStore& terms_;
  std::vector<Job>& jobs_;
  vorn::solver::Engine engine_;
};

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  const bool svg = arguments.size() == 3 && arguments[1] == "--svg";
  vorn::solver::TermStore terms;
  std::vector<Job> jobs;
  std::ifstream table(arguments.empty() ? "" : arguments[0]);
  if ((arguments.size() != 1 && !svg) || !read_table(table, terms, jobs)) {
    std::cerr << "usage: jobshop TABLE [--svg FILE]\n";
    return 2;
  }
  const int length = Shop(terms, jobs).minimise();
  std::cout << "makespan " << length << '\n';
  print_starts(jobs);
  print_chart(jobs, length);
  if (!svg) return 0;
  std::ofstream out(arguments[2]);
  write_svg(jobs, length, out);
  return out.flush() ? 0 : 2;
}

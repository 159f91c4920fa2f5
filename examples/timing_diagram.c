/* SPDX-License-Identifier: MIT
 *
 * Is a timing diagram consistent? Edges of signals, with the least and the most
 * time between them, in tenths of a nanosecond; what the diagram says without
 * saying it; and which rows contradict each other once a slow part is put in.
 */
#include <inttypes.h>
#include <stdio.h>

#include "vorn.h"

enum { kClock, kAddress, kStrobe, kData, kLatch, kNumEdges };

static const char *const kNames[] = {"clock", "address", "strobe", "data",
                                     "latch"};

struct row {
  int from;
  int to;
  int64_t least;
  int64_t most;
  const char *label;
};

static const struct row kRead[] = {
    {kClock, kAddress, 10, 50, "tAD"},  {kClock, kStrobe, 30, 45, "tSD"},
    {kAddress, kData, 0, 100, "tACC"},  {kStrobe, kData, -999, 80, "tSTB"},
    {kData, kLatch, 15, 999, "tSU"},    {kClock, kLatch, 120, 120, "cycle"},
    {kStrobe, kData, 90, 999, "slow part"},
};

/* Whether all went well. */
static int ask(size_t num_rows) {
  vorn_solver *s = vorn_solver_new(VORN_MINIMIZE_CORES, 0);
  vorn_number at[kNumEdges];
  const char *const *names = NULL;
  const char *text = NULL;
  size_t count = 0;
  size_t k;
  vorn_error error = VORN_OK;
  if (s == NULL) return 0;
  for (k = 0; k < kNumEdges; ++k) at[k] = vorn_new_int(s, kNames[k]);
  for (k = 0; k < num_rows && error == VORN_OK; ++k) {
    const struct row *row = &kRead[k];
    vorn_formula bounds[2];
    bounds[0] = vorn_at_most(s, at[row->from], at[row->to], -row->least);
    bounds[1] = vorn_at_most(s, at[row->to], at[row->from], row->most);
    error = vorn_add_named(s, vorn_and(s, 2, bounds), row->label);
  }
  if (error == VORN_OK) error = vorn_add(s, vorn_equals(s, at[kClock], 0, 0));
  switch (vorn_solve(s)) {
    case VORN_SAT:
      for (k = 0; k < kNumEdges && error == VORN_OK; ++k) {
        vorn_extent low;
        vorn_extent high;
        error = vorn_bounds(s, at[k], &low, &high);
        if (error == VORN_OK) {
          printf("%-8s %s to %s after the clock\n", kNames[k], low.value,
                 high.value);
        }
      }
      break;
    case VORN_UNSAT:
      if (error == VORN_OK) error = vorn_core(s, &count, &names);
      for (k = 0; k < count; ++k) printf("%s\n", names[k]);
      if (error == VORN_OK) error = vorn_explanation(s, &text);
      if (error == VORN_OK) printf("%s", text);
      break;
    case VORN_UNKNOWN:
      error = vorn_solver_error(s);
      break;
  }
  if (error != VORN_OK) fprintf(stderr, "%s\n", vorn_solver_error_text(s));
  vorn_solver_free(s);
  return error == VORN_OK;
}

int main(void) {
  const size_t all = sizeof(kRead) / sizeof(kRead[0]);
  return ask(all - 1) && ask(all) ? 0 : 1;
}

/* SPDX-License-Identifier: MIT
 *
 * vorn.h is C99, and its numbers are what libraries built before count on. */
#include "vorn.h"

#include <stdio.h>
#include <string.h>

#define CONSTANT(name, holds) typedef char name[(holds) ? 1 : -1]

CONSTANT(errors, VORN_OK == 0 && VORN_ERROR_MEMORY == 1 &&
                     VORN_ERROR_ARGUMENT == 2 && VORN_ERROR_OUTSIDE == 3 &&
                     VORN_ERROR_STATE == 4 && VORN_ERROR_RANGE == 5 &&
                     VORN_ERROR_BUSY == 6 && VORN_ERROR_DEFECT == 7);
CONSTANT(answers, VORN_UNKNOWN == 0 && VORN_SAT == 10 && VORN_UNSAT == 20);
CONSTANT(reasons, VORN_REASON_NONE == 0 && VORN_REASON_INTERRUPTED == 1 &&
                      VORN_REASON_TIMEOUT == 2 &&
                      VORN_REASON_CONFLICT_LIMIT == 3 &&
                      VORN_REASON_MEMORY == 4 && VORN_REASON_DEFECT == 5);
CONSTANT(flags, VORN_KEEP_PROOFS == 1 && VORN_KEEP_SCHEDULE == 2 &&
                    VORN_MINIMIZE_CORES == 4 && VORN_NO_MACHINES == 8 &&
                    VORN_NO_PROPAGATION == 16);
CONSTANT(sizes, sizeof(vorn_extent) == 8 + sizeof(char *) &&
                    sizeof(vorn_progress) == 24 + 3 * sizeof(char *));

int main(void) {
  vorn_solver *s = vorn_solver_new(0, 0);
  vorn_number x = vorn_new_int(s, "x");
  const char *text = NULL;
  int64_t value = 0;
  int ok = vorn_add_at_most(s, 0, x, -3) == VORN_OK &&
           vorn_minimize(s, x, NULL) == VORN_OK && vorn_solve(s) == VORN_SAT &&
           vorn_number_value(s, x, &value) == VORN_OK && value == 3 &&
           vorn_number_text(s, x, &text) == VORN_OK && strcmp(text, "x") == 0;
  vorn_solver_free(s);
  printf("%s\n", vorn_version());
  return ok ? 0 : 1;
}

/* SPDX-License-Identifier: MIT */
#ifndef VORN_H
#define VORN_H

#include <stddef.h>
#include <stdint.h>

/**
 * @file
 * Vorn from C99, on two levels: the constraint graph of difference logic
 * (vorn_graph), for those who search themselves, and the solver (vorn_solver).
 *
 *     vorn_solver *s = vorn_solver_new(0, 0);
 *     vorn_number a = vorn_new_int(s, "a"), b = vorn_new_int(s, "b");
 *     vorn_formula order[] = {vorn_at_most(s, a, b, -3), vorn_at_most(s, b, a,
 * -2)}; vorn_add_clause(s, 2, order); if (vorn_solve(s) == VORN_SAT) ...
 *     vorn_solver_free(s);
 *
 * Failure: no call ends the program, prints, or lets an exception out. A call
 * that can fail returns a vorn_error, or what it makes and 0 (NULL) if it
 * cannot; then vorn_solver_error and vorn_solver_error_text (likewise of a
 * graph) say why. A call that fails has changed nothing, unless memory ran out
 * while assertions were being changed or solved: then the solver is spent, and
 * every later call but vorn_solver_free fails with VORN_ERROR_MEMORY.
 * Arguments are checked: a wrong handle is an error, never undefined. A pointer
 * is not: it must lead to what it says, except that handles may be NULL.
 *
 * Memory for numbers beyond 64 bits is GMP's, which ends the program if it gets
 * none. vorn_catch_memory changes that.
 *
 * Text: in and out, ended by a byte 0. What a call hands out stays until the
 * next call for the same solver or graph that hands out text, or its end.
 *
 * Numbers as text: "-12", "3/4", "2.5", of any size, where a call reads them;
 * "n" or "n/d" in lowest terms where it writes them.
 *
 * Threads: a solver or graph is used by one thread at a time; a second call
 * while one is under way, from another thread or from a callback, fails with
 * VORN_ERROR_BUSY. vorn_stop may come from anywhere. Different solvers and
 * graphs have nothing to do with each other.
 */

#ifdef __cplusplus
extern "C" {
#endif

/** Marks what the library offers. */
#if defined(__GNUC__)
#define VORN_C_EXPORT __attribute__((visibility("default")))
#else
#define VORN_C_EXPORT
#endif

/** How a call fails. */
typedef enum vorn_error {
  VORN_OK = 0,             /**< It does not. */
  VORN_ERROR_MEMORY = 1,   /**< Memory ran out. */
  VORN_ERROR_ARGUMENT = 2, /**< An argument is none that the call takes. */
  VORN_ERROR_OUTSIDE = 3,  /**< The formula is no difference logic. */
  VORN_ERROR_STATE = 4,    /**< The call has no place here: no model, say. */
  VORN_ERROR_RANGE = 5,    /**< The number is no int64_t; ask for its text. */
  VORN_ERROR_BUSY = 6,     /**< Another call is under way. */
  VORN_ERROR_DEFECT = 7    /**< A defect of Vorn. */
} vorn_error;

/** The version of the library, as "1.2.3". */
VORN_C_EXPORT const char* vorn_version(void);
/** The name of an error, as "out of memory". */
VORN_C_EXPORT const char* vorn_error_name(vorn_error error);
/**
 * Lets calls return VORN_ERROR_MEMORY also where GMP gets no memory, by taking
 * over GMP's allocation functions, for the whole process and for good. To be
 * called before any other use of GMP, and only where whoever else uses it can
 * be unwound by an exception, as on Debian.
 */
VORN_C_EXPORT void vorn_catch_memory(void);

/* --- The constraint graph --- */

/**
 * A set of constraints target - source <= weight, of which some are active.
 * Nodes are numbered from 1 on, node 0 is the number 0; constraints from 1 on.
 * Memory follows the highest number of each.
 */
typedef struct vorn_graph vorn_graph;

/** A new graph, or NULL without memory. It finds consequences if asked to. */
VORN_C_EXPORT vorn_graph* vorn_graph_new(int with_consequences);
/** Frees it, and all its text. NULL is nothing to free. */
VORN_C_EXPORT void vorn_graph_free(vorn_graph* graph);
/** How the last call failed. */
VORN_C_EXPORT vorn_error vorn_graph_error(const vorn_graph* graph);
/** The same in words. */
VORN_C_EXPORT const char* vorn_graph_error_text(const vorn_graph* graph);

/**
 * Registers constraint k: target - source <= weight, or < if `strict` is not 0.
 * It does not count before it is active. Consequences are found best if all is
 * registered before the first activation.
 */
VORN_C_EXPORT vorn_error vorn_graph_register(vorn_graph* graph, int32_t k,
                                             int32_t source, int32_t target,
                                             int64_t weight, int strict);
/** The same with a weight of any size, or a fraction. */
VORN_C_EXPORT vorn_error vorn_graph_register_text(vorn_graph* graph, int32_t k,
                                                  int32_t source,
                                                  int32_t target,
                                                  const char* weight,
                                                  int strict);
/** Forgets constraint k, which must not be active; with consequences, none. */
VORN_C_EXPORT vorn_error vorn_graph_forget(vorn_graph* graph, int32_t k);
/** Makes constraint k count from the next check on. */
VORN_C_EXPORT vorn_error vorn_graph_activate(vorn_graph* graph, int32_t k);
/**
 * Takes back the constraint that was activated last. Nothing is allocated; it
 * fails only if none is active.
 */
VORN_C_EXPORT vorn_error vorn_graph_take_back(vorn_graph* graph);
/** How many constraints are activated; 0 of NULL. */
VORN_C_EXPORT size_t vorn_graph_num_active(const vorn_graph* graph);
/**
 * Whether active constraints can all hold: 1 if so, 0 if not, -1 if that
 * failed. After 0 take back at least the constraint that closed the conflict,
 * and with it all that was activated later; a check before that says 0 again.
 */
VORN_C_EXPORT int vorn_graph_check(vorn_graph* graph);
/**
 * The constraints of the last conflict, in the order of their cycle, the one
 * that closed it first. They stay until the next check.
 */
VORN_C_EXPORT vorn_error vorn_graph_conflict(vorn_graph* graph, size_t* count,
                                             const int32_t** constraints);
/**
 * A value for a node that goes with those of all others, as of the last check
 * that said 1: `value`, and `eps` times a number that is positive and as small
 * as it takes; node 0 has 0. Fails with VORN_ERROR_RANGE if one is no int64_t.
 */
VORN_C_EXPORT vorn_error vorn_graph_potential(vorn_graph* graph, int32_t node,
                                              int64_t* value, int64_t* eps);
/** The same as text. */
VORN_C_EXPORT vorn_error vorn_graph_potential_text(vorn_graph* graph,
                                                   int32_t node,
                                                   const char** value,
                                                   const char** eps);
/**
 * The next registered constraint that follows from the active ones, as far as
 * the last check said 1; 0 if there is none, -1 if that failed. Of bounds in
 * one direction of a pair only the tightest comes.
 */
VORN_C_EXPORT int32_t vorn_graph_next_consequence(vorn_graph* graph);
/** The active constraints that show constraint k, which must follow. They stay
 * until the next call of this. */
VORN_C_EXPORT vorn_error vorn_graph_why(vorn_graph* graph, int32_t k,
                                        size_t* count,
                                        const int32_t** constraints);

/* --- The solver --- */

/** Assertions and objectives, and checks whether they have a model. */
typedef struct vorn_solver vorn_solver;

/** What is true or false: positive, and -f is "not f". 0 is none. */
typedef int32_t vorn_formula;
/** What has a number for a value: positive. 0 is the number 0. */
typedef int32_t vorn_number;

/** Keep what vorn_proof needs. */
#define VORN_KEEP_PROOFS 1U
/** Keep what vorn_chart needs. */
#define VORN_KEEP_SCHEDULE 2U
/** Leave out of cores what they do not need. */
#define VORN_MINIMIZE_CORES 4U
/** Do not reason about sets of tasks that cannot overlap. */
#define VORN_NO_MACHINES 8U
/** Do not look for bounds that follow. */
#define VORN_NO_PROPAGATION 16U
/** So many searches at a time, each in a thread of its own, for checks that
 * take more than a few hundred conflicts; the first answer ends all, and may be
 * another each time. 0 is 1. Callbacks come on the caller's thread alone. */
#define VORN_THREADS(count) (65536U * (count))

/** A new solver, or NULL without memory; `flags` of those above. */
VORN_C_EXPORT vorn_solver* vorn_solver_new(uint32_t flags, uint64_t seed);
/** Frees it, and all its text. NULL is nothing to free. */
VORN_C_EXPORT void vorn_solver_free(vorn_solver* solver);
/** How the last call failed. */
VORN_C_EXPORT vorn_error vorn_solver_error(const vorn_solver* solver);
/** The same in words; of VORN_ERROR_OUTSIDE, which comparison it is. */
VORN_C_EXPORT const char* vorn_solver_error_text(const vorn_solver* solver);

/**
 * A new variable, or 0. No two have one name; '|' and '\' are in none, nor is
 * it that of a function of SMT-LIB. NULL: a name is made.
 */
VORN_C_EXPORT vorn_formula vorn_new_bool(vorn_solver* solver, const char* name);
/** The same, an integer. */
VORN_C_EXPORT vorn_number vorn_new_int(vorn_solver* solver, const char* name);
/** The same, a real. */
VORN_C_EXPORT vorn_number vorn_new_real(vorn_solver* solver, const char* name);

/* Numbers; each call returns 0 if it fails. Beside a real, an integer stands
 * for its value. */

/** This number. */
VORN_C_EXPORT vorn_number vorn_constant(vorn_solver* solver, const char* value);
/** The sum of some. */
VORN_C_EXPORT vorn_number vorn_sum(vorn_solver* solver, size_t count,
                                   const vorn_number* parts);
/** A multiple. */
VORN_C_EXPORT vorn_number vorn_times(vorn_solver* solver, const char* factor,
                                     vorn_number x);
/** The one if the condition holds, else the other. */
VORN_C_EXPORT vorn_number vorn_choose(vorn_solver* solver,
                                      vorn_formula condition, vorn_number then,
                                      vorn_number otherwise);
/** 1 if it is an integer in each model, 0 if not, -1 if that failed. */
VORN_C_EXPORT int vorn_is_int(vorn_solver* solver, vorn_number x);

/* Formulas; each call returns 0 if it fails. */

/** The formula that always holds; its negation never does. */
VORN_C_EXPORT vorn_formula vorn_true(vorn_solver* solver);
/** x - y <= bound: an atom of difference logic if x and y are variables, or 0.
 */
VORN_C_EXPORT vorn_formula vorn_at_most(vorn_solver* solver, vorn_number x,
                                        vorn_number y, int64_t bound);
/** x - y < bound. */
VORN_C_EXPORT vorn_formula vorn_below(vorn_solver* solver, vorn_number x,
                                      vorn_number y, int64_t bound);
/** x - y = value. */
VORN_C_EXPORT vorn_formula vorn_equals(vorn_solver* solver, vorn_number x,
                                       vorn_number y, int64_t value);
/** As vorn_at_most, with a bound of any size, or a fraction. */
VORN_C_EXPORT vorn_formula vorn_at_most_text(vorn_solver* solver, vorn_number x,
                                             vorn_number y, const char* bound);
/** As vorn_below, likewise. */
VORN_C_EXPORT vorn_formula vorn_below_text(vorn_solver* solver, vorn_number x,
                                           vorn_number y, const char* bound);
/** As vorn_equals, likewise. */
VORN_C_EXPORT vorn_formula vorn_equals_text(vorn_solver* solver, vorn_number x,
                                            vorn_number y, const char* value);
/** No two have the same value; there are two at least. */
VORN_C_EXPORT vorn_formula vorn_distinct(vorn_solver* solver, size_t count,
                                         const vorn_number* parts);
/** All of them; true of none. */
VORN_C_EXPORT vorn_formula vorn_and(vorn_solver* solver, size_t count,
                                    const vorn_formula* parts);
/** At least one of them; false of none. */
VORN_C_EXPORT vorn_formula vorn_or(vorn_solver* solver, size_t count,
                                   const vorn_formula* parts);
/** One of them, and not both. */
VORN_C_EXPORT vorn_formula vorn_xor(vorn_solver* solver, vorn_formula a,
                                    vorn_formula b);
/** If a, then b. */
VORN_C_EXPORT vorn_formula vorn_implies(vorn_solver* solver, vorn_formula a,
                                        vorn_formula b);
/** Both, or neither. */
VORN_C_EXPORT vorn_formula vorn_iff(vorn_solver* solver, vorn_formula a,
                                    vorn_formula b);
/** The one if the condition holds, else the other. */
VORN_C_EXPORT vorn_formula vorn_ite(vorn_solver* solver, vorn_formula condition,
                                    vorn_formula then, vorn_formula otherwise);

/* Assertions and objectives. */

/** Asserts a formula. */
VORN_C_EXPORT vorn_error vorn_add(vorn_solver* solver, vorn_formula formula);
/** Likewise; vorn_core may name it. The name is one that no variable has, nor
 * another assertion. */
VORN_C_EXPORT vorn_error vorn_add_named(vorn_solver* solver,
                                        vorn_formula formula, const char* name);
/** Asserts that one of them holds. */
VORN_C_EXPORT vorn_error vorn_add_clause(vorn_solver* solver, size_t count,
                                         const vorn_formula* parts);
/** Asserts x - y <= bound, in one call. */
VORN_C_EXPORT vorn_error vorn_add_at_most(vorn_solver* solver, vorn_number x,
                                          vorn_number y, int64_t bound);
/** Wants x to be small: the first objective counts before all others, and so
 * on. `name` may be NULL. */
VORN_C_EXPORT vorn_error vorn_minimize(vorn_solver* solver, vorn_number x,
                                       const char* name);
/** Wants it to be great. */
VORN_C_EXPORT vorn_error vorn_maximize(vorn_solver* solver, vorn_number x,
                                       const char* name);
/** Wants a formula to hold: it costs `weight` if it does not (NULL: 1). Those
 * of one group (NULL: "soft") are one objective. */
VORN_C_EXPORT vorn_error vorn_add_soft(vorn_solver* solver,
                                       vorn_formula formula, const char* weight,
                                       const char* group);
/** Opens a scope of assertions and objectives. Variables have none. */
VORN_C_EXPORT vorn_error vorn_push(vorn_solver* solver);
/** Takes back those since the matching push. */
VORN_C_EXPORT vorn_error vorn_pop(vorn_solver* solver);

/* Solving. */

/** What vorn_solve answers. */
typedef enum vorn_answer {
  VORN_UNKNOWN = 0, /**< It was cut short; vorn_unknown_reason. */
  VORN_SAT = 10,    /**< There is a model; with objectives, the best one. */
  VORN_UNSAT = 20   /**< There is none. */
} vorn_answer;

/** Why it was cut short. */
typedef enum vorn_reason {
  VORN_REASON_NONE = 0,           /**< It was not. */
  VORN_REASON_INTERRUPTED = 1,    /**< vorn_stop, or the callback said so. */
  VORN_REASON_TIMEOUT = 2,        /**< The time was out. */
  VORN_REASON_CONFLICT_LIMIT = 3, /**< There were so many conflicts. */
  VORN_REASON_MEMORY = 4,         /**< Memory ran out. */
  VORN_REASON_DEFECT = 5          /**< A defect of Vorn, which it noticed. */
} vorn_reason;

/** Assumes a formula for the next vorn_solve alone. */
VORN_C_EXPORT vorn_error vorn_assume(vorn_solver* solver, vorn_formula formula);
/** Forgets what was assumed since the last vorn_solve. */
VORN_C_EXPORT vorn_error vorn_drop_assumptions(vorn_solver* solver);
/** Whether there is a model. VORN_UNKNOWN also if the call failed. */
VORN_C_EXPORT vorn_answer vorn_solve(vorn_solver* solver);
/** After VORN_UNKNOWN. */
VORN_C_EXPORT vorn_reason vorn_unknown_reason(const vorn_solver* solver);

/** Each call that searches ends after so many milliseconds; 0: it takes its
 * time. */
VORN_C_EXPORT vorn_error vorn_set_timeout(vorn_solver* solver,
                                          uint64_t milliseconds);
/** The same after so many conflicts. */
VORN_C_EXPORT vorn_error vorn_set_conflict_limit(vorn_solver* solver,
                                                 uint64_t conflicts);
/** Called every few milliseconds while solving, on the thread that does so; if
 * it returns other than 0, the call ends. NULL: none. */
VORN_C_EXPORT vorn_error vorn_set_terminate(vorn_solver* solver, void* data,
                                            int (*terminate)(void* data));

/** What a callback is told. */
typedef struct vorn_progress {
  uint64_t decisions;    /**< Choices made. */
  uint64_t conflicts;    /**< Choices that turned out to be wrong. */
  uint64_t restarts;     /**< Times that the search began anew. */
  const char* objective; /**< Of which more is known; NULL if of none. */
  const char* low;       /**< No model is below this; "-oo" if unknown. */
  const char* high;      /**< Nor above this, of the best ones; "oo". */
} vorn_progress;

/** Called now and then while solving, and whenever more is known of an
 * objective. NULL: none. */
VORN_C_EXPORT vorn_error
vorn_set_progress(vorn_solver* solver, void* data,
                  void (*progress)(void* data, const vorn_progress* told));
/** Ends the call that is solving, or the next one if there is none. From any
 * thread, and from a signal handler. */
VORN_C_EXPORT void vorn_stop(vorn_solver* solver);

/* After vorn_solve, until the next change. */

/** 1 if there are values to ask for, 0 if not, -1 if that failed. After
 * VORN_UNKNOWN they need not satisfy anything, unless there is an objective and
 * something is known of it: then they are the best so far. */
VORN_C_EXPORT int vorn_has_model(vorn_solver* solver);
/** The value of a formula: 1 or 0; -1 if that failed. */
VORN_C_EXPORT int vorn_value(vorn_solver* solver, vorn_formula formula);
/** The value of a number. */
VORN_C_EXPORT vorn_error vorn_number_value(vorn_solver* solver, vorn_number x,
                                           int64_t* value);
/** The same as text. */
VORN_C_EXPORT vorn_error vorn_number_value_text(vorn_solver* solver,
                                                vorn_number x,
                                                const char** value);
/** An end of an interval. */
typedef struct vorn_extent {
  int32_t infinity; /**< -1: below all numbers, 1: above. */
  int32_t side; /**< 1: approached from above, -1: from below; 0: reached. */
  const char* value; /**< If infinity is 0: the number. */
} vorn_extent;
/** How many objectives there are; those of one group count as one. */
VORN_C_EXPORT size_t vorn_num_objectives(vorn_solver* solver);
/** What is known of objective k, from 0: between which ends its best value
 * lies, and whether that is settled. Each of the pointers may be NULL. */
VORN_C_EXPORT vorn_error vorn_objective(vorn_solver* solver, size_t k,
                                        const char** name, int* is_settled,
                                        vorn_extent* low, vorn_extent* high);
/** After VORN_SAT: from where to where x lies in all models that could have
 * been the answer. */
VORN_C_EXPORT vorn_error vorn_bounds(vorn_solver* solver, vorn_number x,
                                     vorn_extent* low, vorn_extent* high);
/** After VORN_UNSAT: 1 if this assumption is among those that contradict the
 * assertions, 0 if not, -1 if that failed. */
VORN_C_EXPORT int vorn_failed(vorn_solver* solver, vorn_formula assumption);
/** After VORN_UNSAT: the names of assertions that contradict those without and
 * the assumptions. */
VORN_C_EXPORT vorn_error vorn_core(vorn_solver* solver, size_t* count,
                                   const char* const** names);
/** After VORN_UNSAT: why, in words. */
VORN_C_EXPORT vorn_error vorn_explanation(vorn_solver* solver,
                                          const char** text);
/** With VORN_KEEP_PROOFS, after VORN_UNSAT, or VORN_SAT with objectives: the
 * proof of that, for `vorn-check`, of what vorn_script says. */
VORN_C_EXPORT vorn_error vorn_proof(vorn_solver* solver, const char** text);
/** After vorn_proof of best values: what it refutes, for `vorn-check --assume`;
 * "" otherwise. */
VORN_C_EXPORT vorn_error vorn_improvement(vorn_solver* solver,
                                          const char** text);
/** With VORN_KEEP_SCHEDULE, after VORN_SAT: tasks on machines, as SVG; "" if
 * there is no machine. */
VORN_C_EXPORT vorn_error vorn_chart(vorn_solver* solver, const char** text);
/** What is asked now, with the assumptions of the last vorn_solve, in SMT-LIB.
 */
VORN_C_EXPORT vorn_error vorn_script(vorn_solver* solver, const char** text);
/** Counters, a line "name: value" each. */
VORN_C_EXPORT vorn_error vorn_statistics(vorn_solver* solver,
                                         const char** text);
/** A formula in SMT-LIB. */
VORN_C_EXPORT vorn_error vorn_formula_text(vorn_solver* solver,
                                           vorn_formula formula,
                                           const char** text);
/** A number in SMT-LIB. */
VORN_C_EXPORT vorn_error vorn_number_text(vorn_solver* solver, vorn_number x,
                                          const char** text);

#ifdef __cplusplus
}
#endif

#endif /* VORN_H */

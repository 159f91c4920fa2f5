x)check
(set-logic QF_IDL);c(assert
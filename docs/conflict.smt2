; Steps of a release that cannot be done in the time they are given. The picture
; docs/conflict.svg shows why.
(set-logic QF_RDL)
(declare-const compile Real)
(declare-const link Real)
(declare-const test Real)
(declare-const pack Real)
(assert (! (>= (- link compile) 20) :named linking))
(assert (! (>= (- test link) 5) :named testing))
(assert (! (< (- test compile) 25) :named hurry))
(assert (! (>= compile 0) :named start))
(assert (or (>= (- pack test) 3) (>= (- pack link) 10)))
(assert (<= pack 60))
(check-sat)

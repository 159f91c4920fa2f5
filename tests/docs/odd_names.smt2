; Symbols and names that a DOT file has to quote, for docs/draw.sh.
(set-logic QF_RDL)
(declare-const |"a" & <b> {c}; #d| Real)
(declare-const |two
lines| Real)
(declare-const |&lt;| Real)
(declare-const |é ∞| Real)
(assert (! (< |"a" & <b> {c}; #d| |two
lines|) :named |"]; n9 -> n8 [label="|))
(assert (<= (- |two
lines| |&lt;|) (/ 1 3)))
(assert (<= (- |&lt;| |"a" & <b> {c}; #d|) (- (/ 1 3))))
(assert (<= |é ∞| |&lt;|))
(check-sat)

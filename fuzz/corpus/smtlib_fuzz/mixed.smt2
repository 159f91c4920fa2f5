(declare-const x Int)(declare-const r Real)
(define-sort T () Int)(declare-fun y () T)
(assert (< 1.5 (to_real x) (+ y 0.5)))(assert (<= r (ite (is_int (+ x 0.5)) 1 2.5)))
(assert (= (as y T) (to_int (+ x (div 7 (- 2)) 4.25)))) ; two
(check-sat)(get-value (x (* 2.0 y) ; more
 (mod 7 3)))
(set-info :status sat)(push)(define-sort U () Real)(declare-const u U)
(assert (< (abs (- u r)) 0.5 (abs (- r u))))(check-sat)(pop)
(assert (< x r))(assert (= (to_int r) 1))(get-info :status)(check-sat)

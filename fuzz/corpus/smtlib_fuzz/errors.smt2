check-sat (set-logic QF_LIA) (set-logic QF_IDL) )
(declare-const x Int) (declare-const x Bool) (assert x) (assert (< x 007))
(assert (* x x)) (assert (< (* x x) 1)) (assert (let ((x 1) (x 2)) true))
(push 99999999999999999999) (pop 3) (frobnicate "a ""quoted"" one")
(assert (! (< x 1) :named n)) (assert (! (< x 1) :named n)) (get-model)
(declare-fun f (Int) Int) (define-fun g ((a Int) (a Int)) Int a) (assert (<
x
1.5)) ((assert) (echo "no end

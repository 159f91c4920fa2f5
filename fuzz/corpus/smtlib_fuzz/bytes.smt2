(set-info :status |un
known|)
(set-logic QF_IDL)	; grün
(declare-const |grün \x| Bool)(assert |grün \x|)(echo "a""b")(declare-const p Bool)(assert (and p |q) (get-info :version))|
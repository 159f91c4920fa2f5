(set-info :status |un
known|)
(set-logic QF_IDL)	; grün
(declare-const |grün ;x| Bool)(assert |grün ;x|)(get-assertions)(check-sat-assuming (true |grün ;x|))(get-value ( |grün ;x| (not true)))(declare-const |back\slash| Bool)(echo "a""b")(declare-const p Bool)(assert (and p |q) (get-info :version))|
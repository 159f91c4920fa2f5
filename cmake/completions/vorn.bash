# SPDX-License-Identifier: MIT
# Completion of vorn(1) for bash.
_vorn() {
  local word=$2 previous=$3 words=
  COMPREPLY=()
  case $previous in
    --lemmas) words='none short long both auto' ;;
    --propagation) words='auto full off' ;;
    --machines) words='auto off' ;;
    --lemma-dedup | --check-models) words='on off' ;;
    --dot | --gantt | --proof | --split | --join | --record-graph)
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    --timeout | --memory-limit | --lemma-overlap | --threads | --seed) return ;;
    *)
      if [[ $word == -* ]]; then
        words='-h --help --version --timeout --strict --memory-limit --stats
          --explain --slack --dot --gantt --proof --split --join --record-graph -v --verbose
          --lemmas --lemma-overlap --lemma-dedup --propagation --machines --check-models --threads --seed'
      else
        local name
        while IFS= read -r name; do
          if [[ -d $name ]]; then
            COMPREPLY+=("$name/")
          elif [[ $name == *.smt2 ]]; then
            COMPREPLY+=("$name")
          fi
        done < <(compgen -f -- "$word")
        return
      fi
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o filenames -F _vorn vorn

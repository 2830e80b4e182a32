# Completion of sqxer's options and files for bash.

_sqxer() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} choices=
  COMPREPLY=()
  case $before in
    -o | --output) choices='table line markdown html csv tsv json jsonl chart svg' ;;
    --header) choices='yes no' ;;
    --errors) choices='text json' ;;
    -C | --dir)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    -c | --command | --param | --schema | --delimiter | --null | --encoding | --rows | --threads | --repeat) return ;;
    --set)
      choices=$(sqxer --help-switches 2>/dev/null | sed -n 's/^\([A-Za-z]*\)=.*/\1=/p')
      compopt -o nospace 2>/dev/null
      ;;
  esac
  if [[ -z $choices && $word == -* ]]; then
    choices='-c --command -f --file --param -t --table -C --dir --schema --delimiter --header --null
      --encoding -o --output --out --plot --rows --no-header --threads --set --errors --repeat
      --timing --no-progress --untrusted
      --functions --help --help-switches --version'
  fi
  if [[ -n $choices ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word")
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$word")
  fi
}

complete -F _sqxer sqxer

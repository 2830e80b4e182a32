# Completion of sqxer's options and files for bash.

_sqxer() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} choices=
  COMPREPLY=()
  case $before in
    -o | --output) choices='table csv json' ;;
    --header) choices='yes no' ;;
    -C | --dir)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$word")
      return
      ;;
    -c | --command | --param | --schema | --delimiter | --null | --encoding | --threads | --repeat) return ;;
    --set)
      choices=$(sqxer --help-switches 2>/dev/null | sed -n 's/^\([A-Za-z]*\)=.*/\1=/p')
      compopt -o nospace 2>/dev/null
      ;;
  esac
  if [[ -z $choices && $word == -* ]]; then
    choices='-c --command -f --file --param -t --table -C --dir --schema --delimiter --header --null
      --encoding -o --output --out --no-header --threads --set --repeat --timing --no-progress
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

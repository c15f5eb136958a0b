# Completion of vindrel's command line for bash: commands, their options, the words that options take, and files.

_vindrel() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]}
  local help='-h --help' quiet='--overwrite -q --quiet --no-progress' words=''
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W 'align apply info simulate straighten -h --help --version' -- "$current")
    return
  fi
  case $previous in
  --model) words='auto shift affine perspective' ;;
  --reference) words='brightest middle first' ;;
  --crop)
    words='common none'
    if [[ $command == straighten ]]; then words='optimal none'; fi
    ;;
  --filter)
    words='bilinear bicubic lanczos'
    if [[ $command == apply ]]; then words+=' nearest'; fi
    ;;
  --on-unaligned) words='guess keep drop fail' ;;
  --motion) words='shift affine perspective' ;;
  --depth) words='8 16' ;;
  --name | --max-shift | --threads | --frame | --frames | --ev | --seed | --width | --vertical | --horizontal | \
    --rotate) return ;;
  -o | --output)
    if [[ $command != straighten ]]; then
      compopt -o filenames 2> /dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return
    fi
    ;;
  esac
  if [[ -z $words && $current == -* ]]; then
    case $command in
    align)
      words="$help -o --output --name --crop --filter --on-unaligned --transforms-out --model --reference --max-shift"
      words+=" --transforms --threads --truth -n --dry-run $quiet -v --verbose --json"
      ;;
    apply) words="$help --transforms -o --output --name --frame --crop --filter --threads $quiet --json" ;;
    info) words="$help --json" ;;
    simulate) words="$help -o --output --frames --ev --motion --seed --depth --width $quiet --json" ;;
    straighten)
      words="$help -o --output --vertical --horizontal --rotate --crop --pin-to-edge --threads $quiet --json"
      ;;
    esac
  fi
  if [[ -n $words ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
  else
    compopt -o filenames 2> /dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}

complete -F _vindrel vindrel

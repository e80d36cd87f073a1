# Completion of vurl and vurl-recorder in bash. Commands and options are those that the program's own help lists, keys
# those of its standard settings: a new one needs no change here.

# The commands in the help of the program $1.
_vurl_commands() {
  QT_QPA_PLATFORM=offscreen "$1" --help 2>/dev/null |
    awk '/^[A-Z]/ { inside = $1; next } inside == "Subcommands:" && NF { print $1 }'
}

# The options in the help of the program $1, and of its command $2 if there is one.
_vurl_options() {
  {
    QT_QPA_PLATFORM=offscreen "$1" --help
    [[ -z $2 ]] || "$1" "$2" --help
  } 2>/dev/null | awk '/^ +-/ {
    sub(/^ +/, "")
    sub(/  .*/, "")
    count = split($0, words, /[, ]+/)
    for (i = 1; i <= count; i++) if (words[i] ~ /^-/) print words[i]
  }' | sort -u
}

_vurl_keys() {
  local program
  program=$(type -P "$1") &&
    sed -n 's:.*<key>\(.*\)</key>.*:\1:p' "${program%/*}/../share/vurl-recorder/userdefaults.plist" 2>/dev/null
}

_vurl_devices() {
  "$1" devices --json 2>/dev/null | sed -n 's/^ *"name": "\(.*\)",$/\1/p'
}

# Replies with each line of $1 that begins with the word so far.
_vurl_reply() {
  local line
  while IFS= read -r line; do
    if [[ -n $line && $line == "$cur"* ]]; then COMPREPLY+=("$(printf '%q' "$line")"); fi
  done <<<"$1"
}

_vurl_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$cur")
}

_vurl() {
  local program=$1 cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command='' commands word
  COMPREPLY=()
  commands=$(_vurl_commands "$program")
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    if [[ -n $word && $'\n'$commands$'\n' == *$'\n'"$word"$'\n'* ]]; then
      command=$word
      break
    fi
  done

  case $previous in
  --defaults) _vurl_files ;;
  --device) _vurl_reply "$(_vurl_devices "$program")" ;;
  --auto) _vurl_reply $'1\n2\n3\n4\n5' ;;
  --set)
    compopt -o nospace 2>/dev/null
    _vurl_reply "$(_vurl_keys "$program" | sed 's/$/=/')"
    ;;
  *)
    if [[ $cur == -* || -z $commands ]]; then
      _vurl_reply "$(_vurl_options "$program" "$command")"
    elif [[ -z $command ]]; then
      _vurl_reply "$commands"
    elif [[ $previous == settings ]]; then
      _vurl_reply "$(_vurl_keys "$program")"
    else
      _vurl_files
    fi
    ;;
  esac
}
complete -F _vurl vurl vurl-recorder

# bash completion for mcrhost: the program itself knows how a line can go on.
_mcrhost() {
  mapfile -t COMPREPLY < <("${1/#\~/$HOME}" complete --breaks="$COMP_WORDBREAKS" -- "${COMP_LINE:0:COMP_POINT}" 2>/dev/null)
}
complete -o nospace -o bashdefault -F _mcrhost mcrhost

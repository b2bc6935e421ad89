# Completion of qmfi's words for bash; lies in /usr/share/bash-completion/completions as "qmfi".

_qmfi() {
  local IFS=$'\n'
  mapfile -t COMPREPLY < <(qmfi complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
  # Names may have what the shell would read.
  ((${#COMPREPLY[@]} == 0)) || mapfile -t COMPREPLY < <(printf '%q\n' "${COMPREPLY[@]}")
}
complete -o default -F _qmfi qmfi

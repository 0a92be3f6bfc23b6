# SPDX-License-Identifier: Apache-2.0
# Completion of vanto(1) for bash.

_vanto() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command="" index
  COMPREPLY=()
  for ((index = 1; index < COMP_CWORD; index++)); do
    case ${COMP_WORDS[index]} in
      -*) ;;
      *)
        command=${COMP_WORDS[index]}
        break
        ;;
    esac
  done
  case $command in
    cache | key | profile | trust)
      if [ $((index + 1)) -lt "$COMP_CWORD" ]; then
        command="$command ${COMP_WORDS[index + 1]}"
      fi
      ;;
  esac
  case $before in
    --format | -f)
      mapfile -t COMPREPLY < <(compgen -W "xml binary json job-data ipc" -- "$word")
      return
      ;;
    --to | -t)
      mapfile -t COMPREPLY < <(compgen -W "xml binary json" -- "$word")
      return
      ;;
  esac
  case $before in
    --parameter)
      compopt -o nospace 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -W "VantoService_path= VantoService_identifier= VantoService_home=" -- "$word")
      return
      ;;
    --domain | -d)
      mapfile -t COMPREPLY < <(compgen -W "session user system" -- "$word")
      return
      ;;
  esac
  local words=""
  case $command in
    "") words="list show job lint cache plist units load unload start stop restart hold status logs why profile sign verify identify requirement key trust --help --version" ;;
    cache) words="write show check --help" ;;
    key) words="new public succeed --help" ;;
    requirement) words="check --help" ;;
    "requirement check") words="--against --trust --help" ;;
    trust) words="add list remove revoke --help" ;;
    profile) words="check explain diff show run learn --help" ;;
    "profile check") words="--json --bundle --parameter --help" ;;
    "profile explain" | "profile diff" | "profile run") words="--bundle --parameter --help" ;;
    "profile learn") words="--bundle --out --force --help" ;;
    "profile show") words="base network-client temporary --help" ;;
    sign) words="--key --identifier --entitlements --help" ;;
    verify | identify) words="--trust --json --help" ;;
    "key new" | "key public") words="--output --force --help" ;;
    "trust list") words="--json --help" ;;
    "trust "*) words="--system --help" ;;
    list | lint | "cache show" | "cache check") words="--json --help" ;;
    show) words="--json --description --help" ;;
    job) words="--format --help" ;;
    plist) words="--to --output --help" ;;
    units) words="--output --account --help" ;;
    load | unload | start | stop | restart | hold | why) words="--domain --timeout --help" ;;
    status) words="--json --watch --domain --timeout --help" ;;
    logs) words="--lines --follow --domain --timeout --help" ;;
    *) words="--help" ;;
  esac
  case $command,$word in
    ,* | cache,* | key,* | requirement,* | trust,* | profile,* | "profile show",* | *,-*) mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word") ;;
    unload,* | start,* | stop,* | restart,* | hold,* | status,* | logs,* | why,*)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      # compgen -W would carry out what stands in a label.
      local label
      while read -r label _; do
        if [[ $label == "$word"* ]]; then COMPREPLY+=("$label"); fi
      done < <(vanto status --timeout 1 2>/dev/null | sed 1d)
      ;;
    *)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      ;;
  esac
}
complete -F _vanto vanto

#compdef vanto
# SPDX-License-Identifier: Apache-2.0
# Completion of vanto(1) for zsh.

_vanto_cache() {
  local -a commands=(
    'write:write the services of places'
    'show:list what the file holds'
    'check:say which entries are stale'
  )
  if ((CURRENT == 2)); then
    _describe command commands
  else
    case $words[2] in
      show) _arguments '--json[print JSON]' '--help[show help]' '2:file:_files' ;;
      check) _arguments '--json[print JSON]' '--help[show help]' '*:place:_files' ;;
      *) _arguments '--help[show help]' '*:place:_files' ;;
    esac
  fi
}

_vanto() {
  local -a commands=(
    'list:list the services of host bundles and directories'
    'show:show everything about one service'
    'job:print the job that a service manager is given'
    'lint:say what is wrong with bundles'
    'cache:archive services in a file'
    'plist:print or convert a property list'
  )
  if ((CURRENT == 2)); then
    _describe command commands
    _arguments '--help[show help]' '--version[show the version]'
    return
  fi
  shift words
  ((CURRENT--))
  case $words[1] in
    list | lint) _arguments '--json[print JSON]' '--help[show help]' '*:place:_files' ;;
    show) _arguments '--json[print JSON]' '--description[print the description of the library]' '--help[show help]' '1:bundle:_files' ;;
    job) _arguments '(-f --format)'{-f,--format}'[the form]:form:(xml binary json job-data ipc)' '--help[show help]' '*:bundle:_files' ;;
    cache) _vanto_cache ;;
    plist) _arguments '(-t --to)'{-t,--to}'[the form]:form:(xml binary json)' '(-o --output)'{-o,--output}'[where to write]:file:_files' '--help[show help]' '1:file:_files' ;;
  esac
}

_vanto "$@"

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

_vanto_label() {
  local -a labels=(${(f)"$(vanto status --timeout 1 2>/dev/null | sed -e 1d -e 's/ .*//')"})
  compadd -a labels
  _files
}

_vanto_key() {
  local -a commands=(
    'new:make a key to sign with'
    'public:print the public key'
    'succeed:print the statement that a new key takes the place of an old one'
  )
  if ((CURRENT == 2)); then
    _describe command commands
  elif [[ $words[2] == (new|public) ]]; then
    _arguments '(-o --output)'{-o,--output}'[where to write]:file:_files' '--force[replace a file]' '--help[show help]' \
      '*:file:_files'
  else
    _arguments '--help[show help]' '*:file:_files'
  fi
}

_vanto_profile() {
  local -a commands=(
    'check:say what is wrong with a profile, and what kernels leave open'
    'explain:say whether something is allowed, and which line decides'
    'diff:say what a change newly allows and denies'
    'show:print a base profile'
    'run:run a command under a profile'
    'learn:write the profile that allows what a command does'
  )
  local -a values=(
    '--bundle[the service whose values the parameters have]:bundle:_files'
    '*--parameter[a value of one parameter]:value:(VantoService_path= VantoService_identifier= VantoService_home=)'
    '--help[show help]'
  )
  if ((CURRENT == 2)); then
    _describe command commands
  elif [[ $words[2] == show ]]; then
    _arguments '--help[show help]' '2:name:(base network-client temporary)'
  elif [[ $words[2] == explain ]]; then
    _arguments $values '2:file:_files' \
      '3:right:(read write create remove truncate rename execute ioctl socket bind connect network abstract signal processes system)' \
      '4:path:_files'
  elif [[ $words[2] == learn ]]; then
    _arguments '(-o --out --output)'{-o,--out,--output}'[where to write]:file:_files' '--force[replace a profile]' \
      '--bundle[the service that the command is]:bundle:_files' '--help[show help]' '*:command:_command_names'
  elif [[ $words[2] == check ]]; then
    _arguments $values '--json[print JSON]' '*:file:_files'
  else
    _arguments $values '*:file:_files'
  fi
}

_vanto_trust() {
  local -a commands=(
    'add:trust a public key'
    'list:list the keys that are there'
    'remove:take a key away'
    'revoke:have a key never be trusted again'
  )
  if ((CURRENT == 2)); then
    _describe command commands
  elif [[ $words[2] == list ]]; then
    _arguments '--json[print JSON]' '--help[show help]'
  else
    _arguments "--system[change the machine's keys]" '--help[show help]' '*:file:_files'
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
    'units:make systemd units of services'
    'load:give services to the service manager'
    'unload:end services and have the service manager forget them'
    'start:start services'
    'stop:end the processes of services'
    'restart:end the processes of services and start them again'
    'hold:end services and let no client start them'
    'status:show the jobs of service managers'
    'logs:print what a service has written'
    'why:tell the last failure of a service, and how it is confined'
    'profile:check, explain and compare sandbox profiles'
    'sign:sign a bundle or an executable'
    'verify:say what was changed since it was signed'
    'identify:say who an executable is to a service'
    'requirement:try a requirement text'
    'key:make keys and hand them out'
    'trust:decide whose signatures are trusted'
  )
  if ((CURRENT == 2)); then
    _describe command commands
    _arguments '--help[show help]' '--version[show the version]'
    return
  fi
  local -a choice=(
    '(-d --domain)'{-d,--domain}'[whose service manager]:domain:(session user system)'
    '--timeout[how long to wait for each answer]:seconds:'
    '--help[show help]'
  )
  shift words
  ((CURRENT--))
  case $words[1] in
    list | lint) _arguments '--json[print JSON]' '--help[show help]' '*:place:_files' ;;
    show) _arguments '--json[print JSON]' '--description[print the description of the library]' '--help[show help]' '1:bundle:_files' ;;
    job) _arguments '(-f --format)'{-f,--format}'[the form]:form:(xml binary json job-data ipc)' '--help[show help]' '*:bundle:_files' ;;
    cache) _vanto_cache ;;
    profile) _vanto_profile ;;
    key) _vanto_key ;;
    trust) _vanto_trust ;;
    sign) _arguments '(-k --key)'{-k,--key}'[the private key]:file:_files' '--identifier[of a single executable]:identifier:' '--entitlements[a property list]:file:_files' '--help[show help]' '1:path:_files' ;;
    requirement) _arguments '--against[an executable, a bundle or a process id]:file:_files' '*--trust[a directory of keys]:directory:_files -/' '--help[show help]' '1:command:(check)' '2:text:' ;;
    verify | identify) _arguments '*--trust[a directory of keys]:directory:_files -/' '--json[print JSON]' '--help[show help]' '1:path:_files' ;;
    plist) _arguments '(-t --to)'{-t,--to}'[the form]:form:(xml binary json)' '(-o --output)'{-o,--output}'[where to write]:file:_files' '--help[show help]' '1:file:_files' ;;
    units) _arguments '(-o --output)'{-o,--output}'[where to write]:directory:_files -/' '--account[whom services of the system run as]:user:_users' '--help[show help]' '*:bundle:_files' ;;
    load) _arguments $choice '*:bundle:_files' ;;
    unload | start | stop | restart | hold) _arguments $choice '*:label:_vanto_label' ;;
    status) _arguments '--json[print JSON]' '(-w --watch)'{-w,--watch}'[go on with each change]' $choice '*:label:_vanto_label' ;;
    logs) _arguments '(-n --lines)'{-n,--lines}'[the last lines]:number:' '(-f --follow)'{-f,--follow}'[go on with further lines]' $choice '1:label:_vanto_label' ;;
    why) _arguments $choice '1:label:_vanto_label' ;;
  esac
}

_vanto "$@"

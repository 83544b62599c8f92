# Completion of lumisk for bash: commands, options, job names, and paths everywhere else.
_lumisk_names() {
  lumisk job list --json 2>/dev/null | sed -n 's/^    "name": "\(.*\)",$/\1/p'
}

_lumisk_complete_names() {
  local name
  while IFS= read -r name; do
    [[ $name == "$current"* ]] && COMPREPLY+=("$(printf %q "$name")")
  done < <(_lumisk_names)
}

_lumisk() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  local copy='--revisions --delete --trash --no-trash --include --exclude --full-path' run='--pace --dry-run --json'
  local kept='--source --target --every --weekdays --at --realtime --manual --image --no-auto-mount --unmount --no-unmount --inactive'
  local clone='--format --no-format --repair-permissions --no-repair-permissions --verify --no-verify'
  local words=
  COMPREPLY=()
  case $previous in
    --pace) words='gentle full' ;;
    --type) words='backup sync-revisions sync clone' ;;
    --conflict) words='source target newer both' ;;
    --action) words='101 102' ;;
    --include | --exclude | --every | --weekdays | --at) return ;;
  esac
  if [ -n "$words" ]; then
    :
  elif [ "$COMP_CWORD" -eq 1 ]; then
    words='backup sync job run start stop pause resume status next daemon send log versions restore volumes disks image --help --version'
  elif [ "$COMP_CWORD" -eq 2 ] && [ "${COMP_WORDS[1]}" = job ]; then
    words='add list show edit rename remove enable disable'
  elif [ "$COMP_CWORD" -eq 2 ] && [ "${COMP_WORDS[1]}" = image ]; then
    words='create list mount detach delete password'
  elif [[ $current == -* ]]; then
    case "${COMP_WORDS[1]} ${COMP_WORDS[2]}" in
      backup*) words="$copy $run" ;;
      sync*) words="--conflict --name $copy $run" ;;
      run*) words="$run --allow-deletions --accept-target --accept-source" ;;
      log*) words=--follow ;;
      versions* | volumes* | disks* | status* | next*) words=--json ;;
      send*) words=--action ;;
      'image create') words='--size --keep-password' ;;
      'image mount' | 'image password') words=--keep-password ;;
      'image list') words=--json ;;
      restore*) words='--version --to' ;;
      'job add') words="--type --conflict $kept $copy $clone" ;;
      'job edit') words="--conflict $kept $copy $clone" ;;
      'job list' | 'job show') words=--json ;;
    esac
    words+=' --help'
  elif [[ ${COMP_WORDS[1]} =~ ^(run|start|stop|pause|resume|next|log)$ && $COMP_CWORD -eq 2 ]] ||
    [[ ${COMP_WORDS[1]} == job && ${COMP_WORDS[2]} =~ ^(show|edit|rename|remove|enable|disable)$ && $COMP_CWORD -eq 3 ]]; then
    _lumisk_complete_names
    return
  else
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _lumisk lumisk

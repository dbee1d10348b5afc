# bash completion for mailhost: commands, options and their values, mail folders and files.
# The commands and options are read from mailhost's own --help, so they never fall behind it.

# Reads `mailhost [COMMAND] --help` into the caller's variables: commands, options,
# valued (options that take a value, space-separated, padded) and choices (the value sets of the
# positionals in order, e.g. "junk good", or "" for a free value).
_mailhost_read_help() {
  local program=$1 command=$2 section= line word
  commands= options= valued=' ' choices=()
  while IFS= read -r line; do
    case $line in
    Positionals:) section=positionals; continue ;;
    Options:) section=options; continue ;;
    Subcommands:) section=commands; continue ;;
    "  "[!\ ]*) ;;
    *) continue ;;
    esac
    read -r -a word <<<"$line"
    case $section in
    commands) commands+=" ${word[0]}" ;;
    positionals)
      if [[ ${word[1]} == *:{*} ]]; then
        local set=${word[1]#*:\{}
        set=${set%\}}
        choices+=("${set//,/ }")
      else
        choices+=("")
      fi
      ;;
    options)
      local names=${word[0]//,/ } name
      for name in $names; do
        # An optional value is written onto the name: --move-junk[=FOLDER].
        name=${name%%\[=*}
        [[ $name == --* ]] && options+=" $name"
        # A value's type follows the name in capitals: TEXT, INT, TEXT=default, TEXT:{a,b}.
        [[ $name == --* && ${word[1]} =~ ^[A-Z]+([=:].*)?$ ]] && valued+="$name "
      done
      ;;
    esac
  done < <("$program" ${command:+"$command"} --help 2>/dev/null)
}

_mailhost() {
  local program=$1 cur=${COMP_WORDS[COMP_CWORD]} prev=
  ((COMP_CWORD > 0)) && prev=${COMP_WORDS[COMP_CWORD - 1]}
  local commands options valued choices
  _mailhost_read_help "$program" ""
  local globalOptions=$options globalValued=$valued

  # The command is the first word that is neither an option nor an option's value; the words
  # after it that are neither are its positionals.
  local i word command= positionals=0
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    if [[ $word == = ]]; then
      ((i++)) # bash splits --move-junk=FOLDER into three words
    elif [[ $word == -* ]]; then
      [[ $globalValued$valued == *" $word "* ]] && ((i++))
    elif [[ -z $command ]]; then
      command=$word
      _mailhost_read_help "$program" "$command"
    else
      ((positionals++))
    fi
  done

  COMPREPLY=()
  ((COMP_CWORD > 1)) && [[ $prev == = ]] && prev=${COMP_WORDS[COMP_CWORD - 2]}=
  if [[ $prev == --move-junk= || $prev == -* && $globalValued$valued == *" $prev "* ]]; then
    case $prev in
    --profile | --mail-root | --move-junk=) mapfile -t COMPREPLY < <(compgen -d -- "$cur") ;;
    --jobs)
      mapfile -t COMPREPLY < <(compgen -W "auto" -- "$cur")
      return
      ;;
    *) mapfile -t COMPREPLY < <(compgen -f -- "$cur") ;;
    esac
    compopt -o filenames 2>/dev/null
    return
  fi
  if [[ $cur == -* ]]; then
    local offered=$globalOptions name
    if [[ -n $command ]]; then
      for name in $options; do
        [[ " $globalOptions " == *" $name "* ]] || offered+=" $name"
      done
    fi
    mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$cur")
    return
  fi
  if [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$commands" -- "$cur")
    return
  fi
  # A positional with a fixed set of values (mark's verdict), else a folder, file or URI.
  if ((positionals < ${#choices[@]})) && [[ -n ${choices[positionals]} ]]; then
    mapfile -t COMPREPLY < <(compgen -W "${choices[positionals]}" -- "$cur")
    return
  fi
  mapfile -t COMPREPLY < <(compgen -f -- "$cur")
  compopt -o filenames 2>/dev/null
}

complete -F _mailhost mailhost

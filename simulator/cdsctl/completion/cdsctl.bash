# Completion of cdsctl for bash: commands, options, leaf paths and values.

# What a word of the command line means, without its quotes.
_cdsctl_bare() {
    local word=${1#[\"\']}
    word=${word%[\"\']}
    word=${word//\\/}
    printf '%s' "${word/#\~\//$HOME/}"
}

# Prints what may follow $1 in the leaf paths, up to the next component that leaves a choice.
_cdsctl_next_components() {
    sed -n 's/^"\([^"\\]*\)" = .*/\1/p' | beginning=$1 awk '
        index($0, ENVIRON["beginning"]) == 1 { paths[++count] = $0 }
        END {
            for (beginning = ENVIRON["beginning"]; ; beginning = choice) {
                split("", choices)
                alternatives = 0
                for (i = 1; i <= count; ++i) {
                    rest = substr(paths[i], length(beginning) + 1)
                    slash = index(rest, "/")
                    choice = beginning (slash ? substr(rest, 1, slash) : rest)
                    if (!(choice in choices)) {
                        choices[choice]
                        ++alternatives
                    }
                }
                if (alternatives != 1 || choice !~ /\/$/)
                    break
            }
            for (choice in choices)
                print choice
        }'
}

_cdsctl() {
    local current command='' word value options
    local -a meter=() operands=()
    local -i i
    COMPREPLY=()
    current=$(_cdsctl_bare "${COMP_WORDS[COMP_CWORD]}")

    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=$(_cdsctl_bare "${COMP_WORDS[i]}")
        case $word in
        -C | --type)
            [[ ${COMP_WORDS[i + 1]} != = ]] || ((++i)) # bash parts words at "="
            if ((++i == COMP_CWORD)); then
                if [[ $word == -C ]]; then
                    compopt -o dirnames
                else
                    mapfile -t COMPREPLY < <(compgen -W 'bool int string' -- "$current")
                fi
                return
            fi
            [[ $word != -C ]] || meter=(-C "$(_cdsctl_bare "${COMP_WORDS[i]}")")
            ;;
        -C*) meter=("$word") ;;
        -?*) [[ $command != set ]] || ((${#operands[@]} % 2 == 0)) || operands+=("$word") ;;
        *) if [[ $command ]]; then operands+=("$word"); else command=$word; fi ;;
        esac
    done

    if [[ $current == -* ]]; then
        options='-C --help --version'
        case $command in
        list | get | watch | diff) options+=' --json' ;;
        set) options+=' --type' ;;
        esac
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        return
    fi
    case $command in
    '')
        mapfile -t COMPREPLY < <(compgen -W 'list get set clear watch dump load diff reset init' -- "$current")
        return
        ;;
    load | diff) compopt -o default && return ;;
    init) compopt -o dirnames && return ;;
    dump | reset) return ;;
    set)
        if ((${#operands[@]} % 2)); then
            value=$(cdsctl "${meter[@]}" get -- "${operands[-1]}" 2>/dev/null)
            if [[ $value == true || $value == false ]]; then
                mapfile -t COMPREPLY < <(compgen -W 'true false' -- "$current")
            elif [[ $value == "$current"* ]]; then
                COMPREPLY=("$(printf '%q' "$value")")
            fi
            return
        fi
        ;;
    esac
    mapfile -t COMPREPLY < <(cdsctl "${meter[@]}" dump 2>/dev/null | _cdsctl_next_components "$current")
    compopt -o filenames # has blanks quoted, and only the last component listed
    [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != */ ]] || compopt -o nospace
}

complete -F _cdsctl cdsctl

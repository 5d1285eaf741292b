# Completion of cdsctl for bash: commands, options, leaf paths and values.
#
# This script parses the line itself, because bash's COMP_WORDS keeps the quotes and splits words at "=" and
# ":". The names of local variables begin with "_", so that they do not hide a variable that is used on the
# line.

# Moves _index from the beginning of a substitution to its last character, and appends the result to _word.
# The result for a variable is the variable's value. The result for any other substitution is a character that
# no leaf path contains, because completion must not run commands.
_cdsctl_read_substitution() {
    local -i _depth=0
    if [[ ${_line:_index} =~ ^\$([A-Za-z_][A-Za-z_0-9]*) || ${_line:_index} =~ ^\$\{([A-Za-z_][A-Za-z_0-9]*)\} ]]; then
        _word+=${!BASH_REMATCH[1]-}
        _index+=${#BASH_REMATCH[0]}-1
        return
    fi
    _word+=$'\1'
    if [[ ${_line:_index:1} == '`' ]]; then
        while ((++_index < ${#_line})) && [[ ${_line:_index:1} != '`' ]]; do :; done
    else
        while ((++_index < ${#_line})); do
            case ${_line:_index:1} in
            [\(\{]) _depth+=1 ;;
            [\)\}]) ((--_depth > 0)) || return ;;
            *) ((_depth)) || return ;;
            esac
        done
    fi
}

_cdsctl_end_word() {
    [[ ! $_begun ]] || _words+=("$_word")
    _word='' _kept='' _begun=''
}

# Parses the next character of the line as the shell does. Takes several characters if they belong together.
_cdsctl_read_character() {
    local _character=${_line:_index:1} _next=${_line:_index + 1:1}
    case $_quote$_character in
    "''" | '""') _quote='' ;;
    "'"?) _word+=$_character ;;
    \"\\)
        [[ $_next != [\$\`\"\\] ]] || _index+=1
        _word+=${_line:_index:1}
        ;;
    '$' | '"$' | '`' | '"`')
        if [[ $_character$_next == [\`]* || $_next == [A-Za-z0-9_\(\{?#@*!\$-] || $_character$_next$_quote == "\$'" ]]; then
            _cdsctl_read_substitution
        else
            _word+=$_character
        fi
        ;;
    '"'?) _word+=$_character ;;
    \\)
        _word+=$_next
        _index+=1
        ;;
    "'" | '"') _quote=$_character _before_quote=$_word ;;
    [[:space:]])
        _cdsctl_end_word
        return
        ;;
    *)
        [[ $_character != '~' || $_begun || $_next != / ]] || _character=$HOME
        [[ $_character != @ ]] || _kept=$_word # readline completes from this character on
        _word+=$_character
        [[ $_character == @ || $COMP_WORDBREAKS != *"$_character"* ]] || _kept=$_word
        ;;
    esac
    _begun=1
}

# Sets _words to the words of the line, without quotes. The last word is the word that the user is typing.
# Sets _quote to the open quote of the last word. A completion replaces only the end of the last word. Sets
# _kept to the part before this end.
_cdsctl_read_line() {
    local _line=${COMP_LINE:0:COMP_POINT} _word='' _begun='' _before_quote=''
    local -i _index
    for ((_index = 0; _index < ${#_line}; ++_index)); do
        _cdsctl_read_character
    done
    _words+=("$_word")
    [[ ! $_quote ]] || _kept=$_before_quote
}

# Sets _quoted to the text $1, quoted for the open quote _quote. The result begins with this open quote,
# because readline does not insert the quote again.
_cdsctl_quote() {
    _quoted=$1
    case $_quote in
    "'") _quoted=${_quoted//\'/"'\\''"} ;;
    '"')
        _quoted=${_quoted//\\/"\\\\"}
        _quoted=${_quoted//\"/"\\\""}
        _quoted=${_quoted//\$/"\\\$"}
        _quoted=${_quoted//\`/"\\\`"}
        _quoted=${_quoted//\!/"\"'!'\""} # history expansion would keep a backslash before "!" in the text
        ;;
    *) [[ ! $_quoted ]] || printf -v _quoted %q "$_quoted" ;;
    esac
    _quoted=$_quote$_quoted
}

# Offers the arguments that begin with the typed word, and quotes them. Readline's own quoting (`compopt -o
# filenames` alone) leaves some "$" unquoted and adds "/" to the name of a directory.
_cdsctl_offer() {
    local _text _quoted
    for _text in "$@"; do
        if [[ $_text == "$_current"* ]]; then
            _cdsctl_quote "${_text#"$_kept"}"
            COMPREPLY+=("$_quoted")
        fi
    done
    case ${#COMPREPLY[@]} in
    0) ;;
    1) COMPREPLY[0]+=$_quote ;;
    *) compopt -o filenames -o noquote ;; # readline lists only the last component of each path
    esac
}

# Reads a dump from standard input. Prints the leaf paths that begin with $1, each cut after the next
# component. If all paths share this component, cuts the paths after the first component where they differ.
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

_cdsctl_offer_paths() {
    local -a _paths
    mapfile -t _paths < <("$_program" "${_meter[@]}" dump 2>/dev/null | _cdsctl_next_components "$_current")
    _cdsctl_offer "${_paths[@]}"
}

_cdsctl_offer_value() {
    local _value
    _value=$("$_program" "${_meter[@]}" get -- "$1" 2>/dev/null && printf .) || return 0
    _value=${_value%$'\n'.}
    case $_value in
    '') ;;
    true | false) _cdsctl_offer true false ;;
    *) _cdsctl_offer "$_value" ;;
    esac
}

_cdsctl_offer_options() {
    case $_command in
    list | get | watch | diff) _cdsctl_offer -C --help --version --json ;;
    set) _cdsctl_offer -C --help --version --type ;;
    *) _cdsctl_offer -C --help --version ;;
    esac
}

# Sets _command, _operands and _meter from the words before the last word. If the last word is the value of an
# option, sets _option to that option.
_cdsctl_read_words() {
    local -i _at _last=${#_words[@]}-1
    for ((_at = 1; _at < _last; ++_at)); do
        case ${_words[_at]} in
        -C | --type)
            ((_at + 1 < _last)) || _option=${_words[_at]}
            [[ ${_words[_at]} != -C ]] || _meter=(-C "${_words[_at + 1]}")
            _at+=1
            ;;
        -C*) _meter=("${_words[_at]}") ;;
        -?*) [[ $_command != set ]] || ((${#_operands[@]} % 2 == 0)) || _operands+=("${_words[_at]}") ;;
        *) if [[ $_command ]]; then _operands+=("${_words[_at]}"); else _command=${_words[_at]}; fi ;;
        esac
    done
}

_cdsctl_offer_operands() {
    case $_command in
    '') _cdsctl_offer list get set clear watch dump load diff reset init ;;
    load | diff) compopt -o default ;;
    init) compopt -o dirnames ;;
    list | get | clear | watch) _cdsctl_offer_paths ;;
    set) if ((${#_operands[@]} % 2)); then _cdsctl_offer_value "${_operands[-1]}"; else _cdsctl_offer_paths; fi ;;
    esac
}

_cdsctl() {
    local _quote='' _kept='' _current _program _command='' _option=''
    local -a _words=() _meter=() _operands=()
    COMPREPLY=()
    _cdsctl_read_line
    _program=${_words[0]} _current=${_words[-1]}
    _cdsctl_read_words
    case $_option$_current in
    -C*) if [[ $_option ]]; then compopt -o dirnames; else _cdsctl_offer_options; fi ;;
    --type=*) _cdsctl_offer --type={bool,int,string} ;;
    --type*) if [[ $_option ]]; then _cdsctl_offer bool int string; else _cdsctl_offer_options; fi ;;
    -*) _cdsctl_offer_options ;;
    *) _cdsctl_offer_operands ;;
    esac
}

complete -F _cdsctl cdsctl

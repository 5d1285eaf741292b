# Completion of cdsctl for fish: commands, options, leaf paths and values.

# Prints the value of the option -C, the command, and the operands of the command, one per line. The first
# line is empty if the option is missing.
function __cdsctl_words
    set -l folder
    set -l words
    set -l tokens (commandline -opc)[2..]
    while set -q tokens[1]
        switch $tokens[1]
            case -C
                set folder $tokens[2]
                set -e tokens[1]
            case '-C*'
                set folder (string sub -s 3 -- $tokens[1])
            case --type
                set -e tokens[1]
            case '-?*'
                # The argument after a path of `set` is always a value.
                if test "$words[1]" = set; and test (math (count $words) % 2) -eq 0
                    set -a words $tokens[1]
                end
            case '*'
                set -a words $tokens[1]
        end
        set -e tokens[1]
    end
    printf '%s\n' "$folder" $words
end

# Succeeds if the command is one of $argv. Without arguments, succeeds if there is no command yet.
function __cdsctl_command_is
    set -l words (__cdsctl_words)
    contains -- "$words[2]" $argv; or test -z "$words[2]$argv"
end

# Prints the path $argv. Replaces "~" at the start by the home directory, as the shell does.
function __cdsctl_expand
    if string match -q -- '~/*' "$argv"
        printf '%s\n' ~/(string sub -s 3 -- $argv)
    else
        printf '%s\n' $argv
    end
end

# Runs the program as typed on the line, if it exists, with the typed -C option and the arguments $argv.
function __cdsctl_on_meter
    set -l program (__cdsctl_expand (commandline -opc)[1])
    set -l folder (__cdsctl_expand (__cdsctl_words)[1])
    type -q -- $program; and $program (test -n "$folder"; and printf '%s\n' -C $folder) $argv 2>/dev/null
end

# Prints the leaf paths. The description of a path is the value of the leaf.
function __cdsctl_paths
    __cdsctl_on_meter dump | string replace -rf '^"([^"\\\\]*)" = (.*)' '$1\t$2'
end

function __cdsctl_paths_or_value
    set -l words (__cdsctl_words)
    if test (math (count $words) % 2) -eq 0
        __cdsctl_paths
        return
    end
    set -l value (__cdsctl_on_meter get -- $words[-1])
    switch "$value"
        case true false
            printf '%s\n' true false
        case '?*'
            # Does not offer a value with a tab or with "~" at the start, because fish treats text after a tab
            # as a description, and does not quote a tilde.
            test (count $value) -eq 1; and not string match -qr '^~|\t' -- $value; and printf '%s\n' $value
    end
end

complete -c cdsctl -f
complete -c cdsctl -s h -l help -d 'Print help and exit'
complete -c cdsctl -l version -d 'Print the version and exit'
complete -c cdsctl -s C -x -a '(__fish_complete_directories)' -d 'The directory of the meter'
complete -c cdsctl -n '__cdsctl_command_is list get watch diff' -l json -d 'Print JSON'
complete -c cdsctl -n '__cdsctl_command_is set' -l type -x -a 'bool int string' -d 'The type of the values'

complete -c cdsctl -n __cdsctl_command_is -a list -d 'Print leaves as PATH = VALUE'
complete -c cdsctl -n __cdsctl_command_is -a get -d 'Print the values of leaves'
complete -c cdsctl -n __cdsctl_command_is -a set -d 'Set leaves atomically'
complete -c cdsctl -n __cdsctl_command_is -a clear -d 'Remove leaves'
complete -c cdsctl -n __cdsctl_command_is -a watch -d 'Print changes of leaves'
complete -c cdsctl -n __cdsctl_command_is -a dump -d 'Print the whole store as TOML'
complete -c cdsctl -n __cdsctl_command_is -a load -d 'Replace the store with a dump'
complete -c cdsctl -n __cdsctl_command_is -a diff -d 'Print the differences'
complete -c cdsctl -n __cdsctl_command_is -a reset -d 'Restore the factory defaults'
complete -c cdsctl -n __cdsctl_command_is -a init -d 'Create a new meter'

complete -c cdsctl -n '__cdsctl_command_is list get clear watch' -a '(__cdsctl_paths)'
complete -c cdsctl -n '__cdsctl_command_is set' -a '(__cdsctl_paths_or_value)'
complete -c cdsctl -n '__cdsctl_command_is load diff' -F
complete -c cdsctl -n '__cdsctl_command_is init' -x -a '(__fish_complete_directories)'

# Completion of tovra for fish. Commands and options are what the program's own help lists; nodes and paths come
# from the templates and data that the line names.

function __tovra_words
    commandline -opc
end

# The value of an option that the line has.
function __tovra_value
    set -l words (__tovra_words)
    if set -l at (contains -i -- $argv[1] $words)
        echo $words[(math $at + 1)]
    end
end

# The command of the line: its first word that is no option.
function __tovra_command
    for word in (__tovra_words)[2..-1]
        if not string match -q -- '-*' $word
            echo $word
            return 0
        end
    end
    return 1
end

function __tovra_commands
    tovra --help 2>/dev/null | sed -n '/^Subcommands:/,$s/^  \([a-z][a-z-]*\)  *\(.*\)/\1\t\2/p'
end

function __tovra_options
    tovra (__tovra_command) --help 2>/dev/null | sed -nE 's/^ +(-[a-z],)?(--[a-z-]+)[^ ]*( [^ ]+)*  +(.*)/\2\t\4/p; s/^ +(-[a-z],)?(--[a-z-]+)( [^ ]+)*$/\2/p'
end

function __tovra_nodes
    set -l templates (__tovra_value --templates)
    test -n "$templates"; and set -p templates --templates
    tovra tree $templates 2>/dev/null | sed -n 's/^ *\([^ ]*\).*/\1/p' | grep -vx ROOT
end

function __tovra_paths
    tovra get --data (__tovra_value --data) 2>/dev/null | sed 's/ \([0-9]*\)$/\t\1 records/'
end

# What the option before the word takes, as the command's help has it: FILE, DIR, NAME=TEXT, FORMAT:{text,json}.
function __tovra_kind
    set -l option (__tovra_words)[-1]
    string match -q -- '--*' $option
    and tovra (__tovra_command) --help 2>/dev/null | sed -nE "s/^ +(-[a-z],)?$option ([A-Z][^ ]*[^ :])( .*)?\$/\2/p"
end

function __tovra_takes
    set -l kind (__tovra_kind)
    for wanted in $argv
        string match -q -- "$wanted*" "$kind"; and return 0
    end
    return 1
end

# The words that may stand where one is written, but for files.
function __tovra_choices
    switch (__tovra_words)[-1]:(__tovra_kind)
        case '--node:*'
            __tovra_nodes
        case '--config:*'
            string match -rg -- '--named[ =]+([^= ]+)=' (commandline -cp)
        case '--trace:*'
            string split ' ' '3 4 6 7'
        case '*:*{*'
            __tovra_kind | string replace -r '.*\{(.*)\}.*' '$1' | string split ,
        case '*:?*'
        case '*'
            set -l command (__tovra_command)
            if string match -q -- '-*' (commandline -ct)
                __tovra_options
            else if test "$command" = help
                __tovra_commands
            else if test "$command" = get
                __tovra_paths
            else if contains -- $command render explain coverage fleet
                __tovra_nodes
            end
    end
end

complete -c tovra -f
complete -c tovra -n 'not __tovra_command >/dev/null' -a '(__tovra_commands)'
complete -c tovra -n 'not __tovra_command >/dev/null' -l version -l help
complete -c tovra -n '__tovra_command >/dev/null' -a '(__tovra_choices)'
complete -c tovra -n '__tovra_command >/dev/null; and __tovra_takes FILE SOURCE DIR NAME=FILE' -F
complete -c tovra -n '__tovra_command >/dev/null; and test -z "$(__tovra_kind)"; and not contains -- (__tovra_command) help get render explain coverage fleet' -F

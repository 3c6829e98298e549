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
    tovra (__tovra_command) --help 2>/dev/null | sed -nE 's/^  (-[a-z],)?(--[a-z-]+)[^ ]*( [^ ]+)*  +(.*)/\2\t\4/p; s/^  (-[a-z],)?(--[a-z-]+)( [^ ]+)*$/\2/p'
end

function __tovra_nodes
    set -l templates (__tovra_value --templates)
    test -n "$templates"; and set -p templates --templates
    tovra tree $templates 2>/dev/null | sed -n 's/^ *\([^ ]*\).*/\1/p' | grep -vx ROOT
end

function __tovra_paths
    tovra get --data (__tovra_value --data) 2>/dev/null | sed 's/ \([0-9]*\)$/\t\1 records/'
end

# Whether the word before the one that is written is an option with a value.
function __tovra_after
    contains -- (__tovra_words)[-1] $argv
end

set -l with_file --templates --data --output --out --classes --named --yang-dir
set -l with_value $with_file --config --arg --arg-json --fetch-count --yang-module --yang-secret --trace --color --format --fail-under --fail-under-properties --devices --jobs --queue --idle

complete -c tovra -f
complete -c tovra -n 'not __tovra_command >/dev/null' -a '(__tovra_commands)'
complete -c tovra -n 'not __tovra_command >/dev/null' -l version -l help
complete -c tovra -n "__tovra_command >/dev/null; and not __tovra_after $with_value; and string match -q -- '-*' (commandline -ct)" -a '(__tovra_options)'
complete -c tovra -n "__tovra_after $with_file" -F
complete -c tovra -n '__tovra_after --color' -a 'auto always never'
complete -c tovra -n '__tovra_after --format' -a 'text json'
complete -c tovra -n '__tovra_after --format; and test (__tovra_command) = coverage' -a lcov
complete -c tovra -n '__tovra_after --trace' -a '3 4 6 7'
complete -c tovra -n "contains -- (__tovra_command) help; and not __tovra_after $with_value" -a '(__tovra_commands)'
complete -c tovra -n "contains -- (__tovra_command) get; and not __tovra_after $with_value" -a '(__tovra_paths)'
complete -c tovra -n "contains -- (__tovra_command) render explain coverage fleet; and not __tovra_after $with_value" -a '(__tovra_nodes)'
complete -c tovra -n "__tovra_command >/dev/null; and not contains -- (__tovra_command) help get render explain coverage fleet; and not __tovra_after $with_value" -F

# Completion of velstat in fish. velstat itself says what can come next.

function __velstat_complete
    set -l words (commandline -opc)
    set -l word (commandline -ct)
    set -l answer ($words[1] __complete $words[2..] "$word" 2>/dev/null)
    or return
    set -l first (string split -m 1 \t -- $answer[1])
    set -l prefix $first[2]
    for line in $answer[2..]
        printf '%s%s\n' $prefix $line
    end
    set -l rest (string sub -s (math (string length -- "$prefix") + 1) -- "$word")
    # How fish completes the argument of a command that it does not know: names of files.
    switch $first[1]
        case files
            string replace -r '^' -- "$prefix" (complete -C "'' $rest")
        case folders
            string replace -r '^' -- "$prefix" (complete -C "'' $rest" | string match '*/')
    end
end

complete -c velstat -f -a '(__velstat_complete)'

# Completion of accountsettings(1) for fish: the program itself says what may follow.
function __accountsettings_words
    set -l typed (commandline -opc)
    # Quotes and escapes are still in.
    set -l current (commandline -ct | string replace -ra '[\\\\\'"]' '')
    set -l option (string match -r -- '^--[a-z-]+=' $current)
    set -l value (string replace -r -- '^--[a-z-]+=' '' $current)
    for line in ($typed[1] __complete $typed[2..-1] "$current" 2>/dev/null)
        switch $line
            case ':files*'
                string replace -r -- '^' "$option" (__fish_complete_path "$value")
            case ':directories*'
                string replace -r -- '^' "$option" (__fish_complete_directories "$value" '')
            case '*'
                echo "$option$line"
        end
    end
end
complete -c accountsettings -f -a '(__accountsettings_words)'

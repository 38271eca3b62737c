# Completion of orvel-cli for fish.

set -l commands list show preview url recent relay keybindings command link links send pending retry copy-saved receipts doctor
set -l no_command "not __fish_seen_subcommand_from $commands"

complete -c orvel-cli -f
complete -c orvel-cli -n $no_command -a list -d "List the conversations on this machine, newest first"
complete -c orvel-cli -n $no_command -a show -d "Print a conversation with the IDs of its messages"
complete -c orvel-cli -n $no_command -a preview -d "Print the exact text that would be relayed, and nothing else"
complete -c orvel-cli -n $no_command -a url -d "Print what a handoff URL asks for"
complete -c orvel-cli -n $no_command -a recent -d "List the conversations that were opened last"
complete -c orvel-cli -n $no_command -a relay -d "Look into a file of relay records"
complete -c orvel-cli -n $no_command -a keybindings -d "Print what Orvel makes of the keybindings of Codex"
complete -c orvel-cli -n $no_command -a command -d "Print what Orvel makes of a text that somebody types"
complete -c orvel-cli -n $no_command -a link -d "Link two conversations and print the ID of the link"
complete -c orvel-cli -n $no_command -a links -d "List the links"
complete -c orvel-cli -n $no_command -a send -d "Send what is new on one side of a link to the other"
complete -c orvel-cli -n $no_command -a pending -d "List the saved messages that have not been seen yet"
complete -c orvel-cli -n $no_command -a retry -d "Send a saved message again, where that is safe"
complete -c orvel-cli -n $no_command -a copy-saved -d "Print the saved message of a link, and nothing else"
complete -c orvel-cli -n $no_command -a receipts -d "Look for saved messages where they went, once"
complete -c orvel-cli -n $no_command -a doctor -d "Look whether what Orvel needs of this machine is there"

complete -c orvel-cli -l home -x -a "(__fish_complete_directories)" -d "Take this folder for the user's home"
complete -c orvel-cli -l data -x -a "(__fish_complete_directories)" -d "Take this folder for Orvel's data folder"
complete -c orvel-cli -l json -d "Print JSON"
complete -c orvel-cli -l sample -d "Work on sample conversations"
complete -c orvel-cli -s h -l help -d "Print help and exit"
complete -c orvel-cli -l version -d "Print the version and exit"

complete -c orvel-cli -n "__fish_seen_subcommand_from list show preview" -l agent -x -a "codex claude" -d "Whose conversation it is"
complete -c orvel-cli -n "__fish_seen_subcommand_from show preview keybindings" -F
complete -c orvel-cli -n "__fish_seen_subcommand_from relay; and not __fish_seen_subcommand_from check" -a check -d "Print what the file holds"
complete -c orvel-cli -n "__fish_seen_subcommand_from check" -F
complete -c orvel-cli -n "__fish_seen_subcommand_from send" -l source -x -a "codex claude" -d "Whose conversation it comes from"
complete -c orvel-cli -n "__fish_seen_subcommand_from send retry" -l wait -x -d "Wait so long until the message is seen"
complete -c orvel-cli -n "__fish_seen_subcommand_from send retry" -l through-claude-code -d "Let the command claude continue the conversation"
complete -c orvel-cli -n "__fish_seen_subcommand_from doctor" -l try-keyboard -d "Hold Return for a moment"
complete -c orvel-cli -n "__fish_seen_subcommand_from preview send" -l from -x -d "Begin at the message with this ID"
complete -c orvel-cli -n "__fish_seen_subcommand_from preview send" -l note -x -d "Instructions, which stand before the messages"

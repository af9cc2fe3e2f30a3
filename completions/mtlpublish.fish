# Completes mtlpublish in fish.
set -l commands build diff files init keygen report rollback verify serve
set -l none "not __fish_seen_subcommand_from $commands"
set -l any "__fish_seen_subcommand_from $commands"
complete -c mtlpublish -f
complete -c mtlpublish -s h -l help -d 'Print the help and exit'
complete -c mtlpublish -n "$none" -l version -d 'Print the version and exit'
complete -c mtlpublish -n "$none" -a build -d 'Write the list of the files, and a new id'
complete -c mtlpublish -n "$none" -a diff -d 'Say what a build would change'
complete -c mtlpublish -n "$none" -a files -d 'Name the files that clients fetch'
complete -c mtlpublish -n "$none" -a init -d 'Write a configuration to look through'
complete -c mtlpublish -n "$none" -a keygen -d 'Make a pair of keys to sign libraries with'
complete -c mtlpublish -n "$none" -a report -d 'Write a page that shows what is in it'
complete -c mtlpublish -n "$none" -a rollback -d 'Publish the build before again'
complete -c mtlpublish -n "$none" -a verify -d 'Check the library as clients see it'
complete -c mtlpublish -n "$none" -a serve -d 'Serve the library on this computer alone'
complete -c mtlpublish -n "$any" -a '(__fish_complete_directories)'
complete -c mtlpublish -n "__fish_seen_subcommand_from build diff verify serve" -s q -l quiet -d 'Print problems only'

set -l list '__fish_seen_subcommand_from build diff'
set -l sign '__fish_seen_subcommand_from build rollback'
complete -c mtlpublish -n '__fish_seen_subcommand_from build diff files rollback serve' -l config -r -F -d 'Configuration instead of library.toml'
complete -c mtlpublish -n "$list" -l missing -x -d 'Clients fetch these only if they lack them'
complete -c mtlpublish -n "$list" -l never -x -d 'Clients never fetch these'
complete -c mtlpublish -n "$list" -l exclude -x -d 'These are not published'
complete -c mtlpublish -n "$list" -l include -x -d 'Publish these all the same'
complete -c mtlpublish -n "$list" -l allow -x -a 'windows-names same-names long-paths unused-entries changed-missing' -d 'Publish what some client cannot take'
complete -c mtlpublish -n "$list" -l mirror -x -d 'Other address of the library'
complete -c mtlpublish -n "$list" -l lossy -d 'Clients fetch x.jpeg.tx, where it is, for x.tx'
complete -c mtlpublish -n "$list" -l no-cache -d 'Read every file again, and keep no cache'
complete -c mtlpublish -n "$list" -s v -l verbose -d 'Name what has changed, and what was skipped'

complete -c mtlpublish -n "$sign" -l sign -r -F -d 'Sign the list with the secret key in this file'
complete -c mtlpublish -n "$sign" -l prepare -d 'Print the comment to sign the list with elsewhere'
complete -c mtlpublish -n "$sign" -l no-sign -d 'Do not sign a library that was signed before'
complete -c mtlpublish -n "$sign" -l name -x -d "The library's name"
complete -c mtlpublish -n "$sign" -l sub-path -x -d 'Sub-path that clients give'
complete -c mtlpublish -n "$sign" -l expires -x -d 'Days for which clients accept the signature'
complete -c mtlpublish -n '__fish_seen_subcommand_from build rollback keygen' -l password-file -r -F -d 'Read the password from this file'

complete -c mtlpublish -n '__fish_seen_subcommand_from build diff verify' -l json -d 'Print one JSON object and nothing else'

complete -c mtlpublish -n '__fish_seen_subcommand_from keygen' -l no-password -d 'Do not encrypt the secret key'

complete -c mtlpublish -n '__fish_seen_subcommand_from files' -l list-forms -d 'Name what is beside the lists, with its places'
complete -c mtlpublish -n '__fish_seen_subcommand_from files' -l cache-control -d 'Say what caches are to be told of each file'
complete -c mtlpublish -n '__fish_seen_subcommand_from files' -l nginx -d 'Print the same as a map for nginx'
complete -c mtlpublish -n '__fish_seen_subcommand_from report' -l output -r -F -d 'File to write'
complete -c mtlpublish -n '__fish_seen_subcommand_from report' -l sub-path -x -d 'Show what clients see that give it'

complete -c mtlpublish -n '__fish_seen_subcommand_from files' -l lists -d 'Name the lists, each with its place on the server'
complete -c mtlpublish -n '__fish_seen_subcommand_from verify' -l sub-path -x -d 'Check what clients that give this sub-path get'
complete -c mtlpublish -n '__fish_seen_subcommand_from verify' -l quick -d 'Compare sizes only'
complete -c mtlpublish -n '__fish_seen_subcommand_from verify' -l key -r -F -d 'Public key that may have signed'

set -l serve '__fish_seen_subcommand_from serve'
complete -c mtlpublish -n "$serve" -l port -x -d 'Port to listen on'
complete -c mtlpublish -n "$serve" -l delay -x -d 'Milliseconds that every answer waits'
complete -c mtlpublish -n "$serve" -l fail -x -d 'Requests for these fail'
complete -c mtlpublish -n "$serve" -l host-name -x -a '(__fish_print_hostnames)' -d 'Answer requests for this host, too'

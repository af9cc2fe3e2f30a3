# Completes mtlpublish in fish.
set -l commands build diff files init keygen report rollback verify serve
set -l none "not __fish_seen_subcommand_from $commands"
set -l any "__fish_seen_subcommand_from $commands"
complete -c mtlpublish -f
complete -c mtlpublish -s h -l help -d 'Print the help and exit'
complete -c mtlpublish -n "$none" -l version -d 'Print the version and exit'
complete -c mtlpublish -n "$none" -a build -d 'Write the list and the id that clients read'
complete -c mtlpublish -n "$none" -a diff -d 'Show what a build would change'
complete -c mtlpublish -n "$none" -a files -d 'Print which files a server must have'
complete -c mtlpublish -n "$none" -a init -d 'Write a first configuration'
complete -c mtlpublish -n "$none" -a keygen -d 'Make a pair of keys for signing libraries'
complete -c mtlpublish -n "$none" -a report -d 'Write a web page that shows what is in it'
complete -c mtlpublish -n "$none" -a rollback -d 'Publish the build before the last one again'
complete -c mtlpublish -n "$none" -a verify -d 'Check the library as clients see it'
complete -c mtlpublish -n "$none" -a serve -d 'Serve the library on this computer only'
complete -c mtlpublish -n "$any" -a '(__fish_complete_directories)'
complete -c mtlpublish -n "__fish_seen_subcommand_from build diff verify serve" -s q -l quiet -d 'Print problems only'

set -l list '__fish_seen_subcommand_from build diff'
set -l sign '__fish_seen_subcommand_from build rollback'
complete -c mtlpublish -n '__fish_seen_subcommand_from build diff files rollback serve' -l config -r -F -d 'Configuration file, if not library.toml'
complete -c mtlpublish -n "$list" -l missing -x -d 'Clients fetch these only if they do not have them'
complete -c mtlpublish -n "$list" -l never -x -d 'Clients never fetch these'
complete -c mtlpublish -n "$list" -l exclude -x -d 'Do not publish these'
complete -c mtlpublish -n "$list" -l include -x -d 'Publish these, although left out by default'
complete -c mtlpublish -n "$list" -l allow -x -a 'windows-names same-names long-paths unused-entries changed-missing' -d 'Publish files that some clients cannot store or fetch'
complete -c mtlpublish -n "$list" -l mirror -x -d 'Another address of the library'
complete -c mtlpublish -n "$list" -l lossy -d 'Clients fetch x.jpeg.tx, if it is there, for x.tx'
complete -c mtlpublish -n "$list" -l no-cache -d 'Read every file again, and store no digests'
complete -c mtlpublish -n "$list" -s v -l verbose -d 'Also print what has changed, and what is skipped'

complete -c mtlpublish -n "$sign" -l sign -r -F -d 'Sign the list with the secret key in this file'
complete -c mtlpublish -n "$sign" -l prepare -d 'Print the comment for signing the list elsewhere'
complete -c mtlpublish -n "$sign" -l no-sign -d 'Do not sign, although the last build was signed'
complete -c mtlpublish -n "$sign" -l name -x -d "Name to sign the library with"
complete -c mtlpublish -n "$sign" -l sub-path -x -d 'Sub-path that clients use'
complete -c mtlpublish -n "$sign" -l expires -x -d 'Days until the signature expires'
complete -c mtlpublish -n '__fish_seen_subcommand_from build rollback keygen' -l password-file -r -F -d 'Read the password from this file'

complete -c mtlpublish -n '__fish_seen_subcommand_from build diff verify' -l json -d 'Print the result as one JSON object'

complete -c mtlpublish -n '__fish_seen_subcommand_from keygen' -l no-password -d 'Do not encrypt the secret key'

complete -c mtlpublish -n '__fish_seen_subcommand_from files' -l list-forms -d 'Print what is beside the lists, with its places'
complete -c mtlpublish -n '__fish_seen_subcommand_from files' -l cache-control -d 'Add the Cache-Control of each file'
complete -c mtlpublish -n '__fish_seen_subcommand_from files' -l nginx -d 'Print the Cache-Control of files as a map for nginx'
complete -c mtlpublish -n '__fish_seen_subcommand_from report' -l output -r -F -d 'File to write'
complete -c mtlpublish -n '__fish_seen_subcommand_from report' -l sub-path -x -d 'Show what clients that use this sub-path see'

complete -c mtlpublish -n '__fish_seen_subcommand_from files' -l lists -d 'Print the lists and their places on the server'
complete -c mtlpublish -n '__fish_seen_subcommand_from verify' -l sub-path -x -d 'Check what clients that use this sub-path get'
complete -c mtlpublish -n '__fish_seen_subcommand_from verify' -l quick -d 'Compare sizes only'
complete -c mtlpublish -n '__fish_seen_subcommand_from verify' -l key -r -F -d 'Require a signature by this public key'

set -l serve '__fish_seen_subcommand_from serve'
complete -c mtlpublish -n "$serve" -l port -x -d 'Port to listen on'
complete -c mtlpublish -n "$serve" -l delay -x -d 'Delay each answer by this many milliseconds'
complete -c mtlpublish -n "$serve" -l fail -x -d 'Answer requests for these files with status 503'
complete -c mtlpublish -n "$serve" -l host-name -x -a '(__fish_print_hostnames)' -d 'Also answer requests for this host name'

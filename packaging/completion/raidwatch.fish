# fish completion for raidwatch(1)

# The verb that was typed; nothing when there is none yet.
function __raidwatch_verb
    set -l words (commandline -opc)
    set -e words[1]
    set -l value_follows no
    for word in $words
        if test $value_follows = yes
            set value_follows no
        else if contains -- $word --lang --config
            set value_follows yes
        else if not string match -q -- '-*' $word
            echo $word
            return
        end
    end
end

function __raidwatch_no_verb
    test (count (__raidwatch_verb)) -eq 0
end

function __raidwatch_in
    set -l verb (__raidwatch_verb)
    test (count $verb) -eq 1; and contains -- $verb $argv
end

complete -c raidwatch -f
complete -c raidwatch -l json -d 'JSON instead of text'
complete -c raidwatch -l no-color -d 'no colours'
complete -c raidwatch -l lang -x -a 'de en es fr ja zh_CN' -d 'language of the texts'
complete -c raidwatch -l config -r -F -d 'this configuration file alone'
complete -c raidwatch -l help -d 'help'
complete -c raidwatch -n __raidwatch_no_verb -l version -d 'version'

complete -c raidwatch -n __raidwatch_no_verb -a run -d 'the daemon'
complete -c raidwatch -n __raidwatch_no_verb -a status -d 'is it all right, and if not, what to do'
complete -c raidwatch -n __raidwatch_no_verb -a list -d 'the configuration as it is now'
complete -c raidwatch -n __raidwatch_no_verb -a show -d 'everything about one object'
complete -c raidwatch -n __raidwatch_no_verb -a watch -d 'print each event as it happens'
complete -c raidwatch -n __raidwatch_no_verb -a events -d 'the stored events'
complete -c raidwatch -n __raidwatch_no_verb -a incidents -d 'what is open'
complete -c raidwatch -n __raidwatch_no_verb -a ack -d 'somebody takes care of an incident'
complete -c raidwatch -n __raidwatch_no_verb -a unack -d 'take an acknowledgement back'
complete -c raidwatch -n __raidwatch_no_verb -a silence -d 'tell people nothing for a time'
complete -c raidwatch -n __raidwatch_no_verb -a diff -d 'what changed'
complete -c raidwatch -n __raidwatch_no_verb -a check -d 'one line for a monitoring system'
complete -c raidwatch -n __raidwatch_no_verb -a test -d 'does a message arrive?'
complete -c raidwatch -n __raidwatch_no_verb -a drill -d 'a simulated failure through the sinks'
complete -c raidwatch -n __raidwatch_no_verb -a explain -d 'what an event means'
complete -c raidwatch -n __raidwatch_no_verb -a locate -d 'the locate lamp of a slot'
complete -c raidwatch -n __raidwatch_no_verb -a fleet -d 'all machines that send to one server'
complete -c raidwatch -n __raidwatch_no_verb -a doctor -d 'what keeps raidwatch from its work'
complete -c raidwatch -n __raidwatch_no_verb -a config -d 'check and show the configuration'
complete -c raidwatch -n __raidwatch_no_verb -a capture -d 'write a step of a recording'
complete -c raidwatch -n __raidwatch_no_verb -a replay -d 'print the events of a recording'
complete -c raidwatch -n __raidwatch_no_verb -a scenario -d 'check and play a scenario file'

complete -c raidwatch -n '__raidwatch_in run watch' -l once -d 'once, then end'
complete -c raidwatch -n '__raidwatch_in run test drill' -l wait -x -d 'how many seconds'
complete -c raidwatch -n '__raidwatch_in run' -l pace -x -d 'seconds that one takes'
complete -c raidwatch -n '__raidwatch_in list' -a 'controllers arrays drives enclosures phys tasks'
complete -c raidwatch -n '__raidwatch_in run status list show watch check' -l source -x -a 'linux replay: scenario:'
complete -c raidwatch -n '__raidwatch_in watch' -l state -r -F -d 'folder of snapshot and settings'
complete -c raidwatch -n '__raidwatch_in watch' -l logs -r -F -d 'folder of the logs'
complete -c raidwatch -n '__raidwatch_in watch replay scenario' -l all -d 'code 406 too'
complete -c raidwatch -n '__raidwatch_in events incidents diff explain silence' -l all -d 'everything'
complete -c raidwatch -n '__raidwatch_in events fleet' -l since -x -d 'from this time'
complete -c raidwatch -n '__raidwatch_in events ack' -l until -x -d 'to this time'
complete -c raidwatch -n '__raidwatch_in events fleet' -l severity -x -a 'info warning error'
complete -c raidwatch -n '__raidwatch_in events silence' -l object -x -d 'of this object'
complete -c raidwatch -n '__raidwatch_in events' -l code -x -d 'of this code'
complete -c raidwatch -n '__raidwatch_in events' -l undelivered -d 'what some sink has not got'
complete -c raidwatch -n '__raidwatch_in events fleet' -s f -l follow -d 'go on with new ones'
complete -c raidwatch -n '__raidwatch_in events fleet' -l limit -x -d 'how many'
complete -c raidwatch -n '__raidwatch_in ack' -l comment -x
complete -c raidwatch -n '__raidwatch_in silence' -a 'add list rm'
complete -c raidwatch -n '__raidwatch_in silence locate' -l for -x -d 'how long'
complete -c raidwatch -n '__raidwatch_in silence' -l reason -x -d 'why'
complete -c raidwatch -n '__raidwatch_in diff' -l since -x -a 'boot last-run'
complete -c raidwatch -n '__raidwatch_in check' -l stale-after -x -d 'oldest poll that counts'
complete -c raidwatch -n '__raidwatch_in drill' -a '(path basename /usr/share/qel/scenarios/*.json 2>/dev/null | path change-extension "")'
complete -c raidwatch -n '__raidwatch_in locate' -a 'on off status'
complete -c raidwatch -n '__raidwatch_in doctor' -l fix -d 'repair what can be repaired safely'
complete -c raidwatch -n '__raidwatch_in config' -a 'check show schema token'
complete -c raidwatch -n '__raidwatch_in locate capture' -l root -r -F -d 'tree to read'
complete -c raidwatch -n '__raidwatch_in capture' -l name -x -d 'name of the step'
complete -c raidwatch -n '__raidwatch_in capture replay scenario' -F
complete -c raidwatch -n '__raidwatch_in scenario' -a 'check play'
complete -c raidwatch -n '__raidwatch_in run scenario' -l pace -x -d 'seconds between steps'
complete -c raidwatch -n '__raidwatch_in run test drill' -l wait -x -d 'seconds of patience'
complete -c raidwatch -n '__raidwatch_in fleet' -a 'status events silent top'
complete -c raidwatch -n '__raidwatch_in fleet' -l server -x -d 'of the fleet'
complete -c raidwatch -n '__raidwatch_in fleet' -l sink -x -d 'whose server'
complete -c raidwatch -n '__raidwatch_in fleet' -l creds -r -F -d 'credentials'
complete -c raidwatch -n '__raidwatch_in fleet' -l nkey -x -d 'public key'
complete -c raidwatch -n '__raidwatch_in fleet' -l nkey-seed -r -F -d 'its seed'
complete -c raidwatch -n '__raidwatch_in fleet' -l user -x -d 'name'
complete -c raidwatch -n '__raidwatch_in fleet' -l password-file -r -F -d 'password'
complete -c raidwatch -n '__raidwatch_in fleet' -l token-file -r -F -d 'token'
complete -c raidwatch -n '__raidwatch_in fleet' -l ca -r -F -d 'whom to trust'
complete -c raidwatch -n '__raidwatch_in fleet' -l cert -r -F -d 'our certificate'
complete -c raidwatch -n '__raidwatch_in fleet' -l key -r -F -d 'its key'
complete -c raidwatch -n '__raidwatch_in fleet' -l stream -x -d 'the stream'
complete -c raidwatch -n '__raidwatch_in fleet' -l subject -x -d 'of its subjects'
complete -c raidwatch -n '__raidwatch_in fleet' -l silent-after -x -d 'what is silent'
complete -c raidwatch -n '__raidwatch_in fleet' -l within -x -d 'how long'
complete -c raidwatch -n '__raidwatch_in fleet' -l failures -x -d 'how many'
complete -c raidwatch -n '__raidwatch_in fleet' -l machine -x -d 'of this one'
complete -c raidwatch -n '__raidwatch_in fleet' -l notices -d 'what people were told'

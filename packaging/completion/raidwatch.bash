# bash completion for raidwatch(1)

# The words that may follow the given verb, options first.
_raidwatch_words() {
    local common="--json --no-color --lang --config --help"
    case $1 in
        "") echo "run status list show watch events incidents ack unack silence diff check test drill
                explain locate fleet doctor config capture replay scenario
                --json --no-color --lang --config --help --version" ;;
        run) echo "--source --once --wait --pace $common" ;;
        status | show) echo "--source $common" ;;
        list) echo "controllers arrays drives enclosures phys tasks --source $common" ;;
        watch) echo "--source --once --state --logs --all $common" ;;
        events) echo "--since --until --severity --object --code --undelivered --follow --limit
                      --all $common" ;;
        incidents) echo "--all $common" ;;
        ack) echo "--comment --until $common" ;;
        silence) echo "add list rm $common" ;;
        "silence add") echo "--object --all --for --reason $common" ;;
        diff) echo "--since --all $common" ;;
        check) echo "--source --stale-after $common" ;;
        test | drill) echo "--wait $common" ;;
        explain) echo "--all $common" ;;
        locate) echo "on off status --for --root $common" ;;
        fleet) echo "status events silent top $common" ;;
        "fleet "*)
            echo "--server --sink --creds --nkey --nkey-seed --user --password-file --token-file
                  --ca --cert --key --stream --subject $common"
            case $1 in
                "fleet status") echo "--limit --silent-after --within --failures" ;;
                "fleet events") echo "--since --severity --machine --notices --follow" ;;
                "fleet silent") echo "--silent-after" ;;
                "fleet top") echo "--limit --within --failures" ;;
            esac ;;
        doctor) echo "--fix $common" ;;
        config) echo "check show schema token $common" ;;
        capture) echo "--root --name $common" ;;
        replay) echo "--all $common" ;;
        scenario) echo "check play $common" ;;
        "scenario play") echo "--pace --all $common" ;;
        *) echo "$common" ;;
    esac
}

_raidwatch() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local verb="" words="" word i
    COMPREPLY=()

    # The verb, and the second word of those that have one.
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        case $word in
            --lang | --config) ((++i)) ;;
            -*) ;;
            *)
                case $verb in
                    "") verb=$word ;;
                    silence | scenario | fleet) verb="$verb $word" ;;
                    *) ;;
                esac
                ;;
        esac
    done

    case $previous in
        --config | --logs | --state | --root | --creds | --nkey-seed | --password-file | \
            --token-file | --ca | --cert | --key) compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return ;;
        --lang) words="de en es fr ja zh_CN" ;;
        --severity) words="info warning error" ;;
        --since) [ "$verb" = diff ] && words="boot last-run" ;;
        --source) words="linux replay: scenario:" ;;
        --until | --object | --code | --limit | --comment | --for | --reason | --stale-after | \
            --name | --pace | --wait | --server | --sink | --nkey | --user | --stream | --subject | \
            --silent-after | --within | --failures | --machine) return ;;
        *)
            words=$(_raidwatch_words "$verb")
            case $verb in
                drill) words="$words $(cd /usr/share/qel/scenarios 2>/dev/null &&
                    for word in *.json; do echo "${word%.json}"; done)" ;;
                capture | replay | "scenario check" | "scenario play")
                    compopt -o filenames 2>/dev/null
                    mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
            esac
            ;;
    esac
    mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _raidwatch raidwatch

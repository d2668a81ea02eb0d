# offers.zsh FOLDER OUT LINE: what an interactive zsh with the completions of FOLDER offers when TAB is
# pressed behind LINE, as lines "OFFER word" in OUT. The last line is DONE.
out=$2
zmodload zsh/zpty
zpty shell zsh -f -i
send() { zpty -w shell "$1" }
send "PROMPT= ; fpath=(${(q)1} \$fpath); autoload -Uz compinit; compinit -u -D"
send 'bindkey "^I" complete-word; zstyle ":completion:*" completer _complete'
# Every offer goes through compadd; calls that only fill arrays (-O, -A, -D) are left alone.
send 'compadd() {
    if [[ ${@[1,(i)(-|--)]} != *-(O|A|D)\ * ]]; then
        local -a offers; local offer
        builtin compadd -A offers "$@"
        for offer in $offers; do print -r -- "OFFER $offer" >>'${(q)2}'; done
    fi
    builtin compadd "$@"
}'
# It completes nothing while more input waits, so every step waits for the one before.
wait_for() {
    local i
    for i in {1..200}; do
        eval $1 && return
        sleep 0.1
    done
}
send 'print READY >>'${(q)2}
wait_for '[[ -s $out ]]'
zpty -n -w shell "$3"$'\t'
wait_for '[[ "$(<$out)" == *OFFER* ]]'
last=
wait_for 'now="$(<$out)"; [[ $now == $last ]] || { last=$now; sleep 0.3; false }'
print DONE >>$out
zpty -d shell

#!/usr/bin/env python3
"""completion_test.py RAIDWATCH: do the completions and the man page know what the program knows?

Every verb of "raidwatch --help", and every verb below a verb, is in the completion of each shell and
has its paragraph in raidwatch(1); every long option of a verb is told there, or among the options of
all, and is offered behind that verb. Then the shells themselves are asked: bash always, zsh and fish
where they are installed.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
COMPLETIONS = {
    "bash": ROOT / "packaging/completion/raidwatch.bash",
    "zsh": ROOT / "packaging/completion/_raidwatch",
    "fish": ROOT / "packaging/completion/raidwatch.fish",
}
MAN = ROOT / "docs/man/raidwatch.1.md"
failures = []


def check(good, complaint):
    if not good:
        failures.append(complaint)


def help_of(program, verb):
    return subprocess.run([program, *verb, "--help"], check=True, capture_output=True,
                          text=True).stdout


def verbs_in(text):
    part = re.search(r"^Commands:\n((?:  .*\n)+)", text, re.MULTILINE)
    return re.findall(r"^  (\S+)", part.group(1), re.MULTILINE) if part else []


def options_in(text):
    return set(re.findall(r"^  (?:-\w,)?--([a-z-]+)", text, re.MULTILINE))


def commands(program):
    """Every verb as a tuple of words, with its long options."""
    found = {(): options_in(help_of(program, []))}
    waiting = [()]
    while waiting:
        verb = waiting.pop()
        text = help_of(program, verb)
        found[verb] = options_in(text)
        waiting += [verb + (word,) for word in verbs_in(text)]
    return found


def zsh_part(text, verb):
    """What _raidwatch says of one verb; the options that all have lie in `common` and `source`."""
    part = re.search(rf"^ +{re.escape(verb)}\) (_arguments .*?);;", text, re.MULTILINE | re.DOTALL)
    shared = re.search(r"common=\((.*?)\n    \)", text, re.DOTALL).group(1)
    if part and '"$source"' in part.group(1):
        shared += "--source"
    return (part.group(1) if part else "") + shared


def man_part(man, verb):
    """The paragraph of one verb, with what is told of the options that many verbs have."""
    name = f"**raidwatch {' '.join(verb)}**"
    own = [part for part in man.split("\n\n")
           if part.startswith("**raidwatch ") and name in part.split("\n")[0]]
    return "\n".join(own) + man[man.index("\n## OPTIONS"):man.index("\n## EXIT STATUS")]


def check_texts(found):
    man = MAN.read_text(encoding="utf-8")
    zsh = COMPLETIONS["zsh"].read_text(encoding="utf-8")
    for shell, path in COMPLETIONS.items():
        text = path.read_text(encoding="utf-8")
        for verb in found:
            for word in verb:
                check(re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text),
                      f"{path.name} does not know the verb {word}")
    for verb, options in found.items():
        name = " ".join(verb)
        if not verb or any(other[:len(verb)] == verb and other != verb for other in found):
            continue
        check(re.search(rf"^\*\*raidwatch .*\*\*raidwatch {name}\*\*|^\*\*raidwatch {name}\*\*", man,
                        re.MULTILINE), f"{MAN.name} has no paragraph **raidwatch {name}**")
        for option in options - {"help"}:
            check(f"**--{option}**" in man_part(man, verb), f"{MAN.name} does not tell {name} --{option}")
        for option in options:
            check(re.search(rf"--{option}(?![\w-])", zsh_part(zsh, verb[0])),
                  f"_raidwatch does not know {name} --{option}")


def check_options(shell, ask, found):
    """Every option of every verb is offered behind that verb."""
    for verb, options in found.items():
        missing = {f"--{option}" for option in options} - set(ask(*verb, "--"))
        check(not missing, f"{shell} does not offer {sorted(missing)} after {' '.join(verb)}")


def ask_bash(*words):
    """What bash offers for the last of `words`."""
    script = (f"source {COMPLETIONS['bash']}; COMP_WORDS=(raidwatch \"$@\"); "
              "COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _raidwatch; printf '%s\\n' \"${COMPREPLY[@]}\"")
    result = subprocess.run(["bash", "--norc", "-c", script, "bash", *words], check=False,
                            capture_output=True, text=True)
    check(not result.stderr, f"bash says for {words}: {result.stderr}")
    return result.stdout.split()


def ask_fish(*words):
    line = " ".join(["raidwatch", *words])
    script = f"source {COMPLETIONS['fish']}; complete -C '{line}'"
    result = subprocess.run(["fish", "--no-config", "-c", script], check=False, capture_output=True,
                            text=True)
    check(not result.stderr, f"fish says for {words}: {result.stderr}")
    return [offer.split("\t")[0] for offer in result.stdout.splitlines()]


def ask_zsh(*words):
    with tempfile.TemporaryDirectory() as folder:
        out = pathlib.Path(folder, "out")
        subprocess.run(["zsh", "-f", ROOT / "tests/packaging/offers.zsh", COMPLETIONS["zsh"].parent,
                        out, " ".join(["raidwatch", *words])], check=False, capture_output=True,
                       timeout=60)
        lines = out.read_text(encoding="utf-8").splitlines() if out.exists() else []
    check(lines[-1:] == ["DONE"], f"zsh did not answer for {words}")
    return [line.removeprefix("OFFER ") for line in lines if line.startswith("OFFER ")]


QUESTIONS = [
    (["stat"], ["status"], ["watch"]),
    (["--no-color", "inc"], ["incidents"], ["status"]),
    (["silence", ""], ["add", "list", "rm"], ["status"]),
    (["silence", "add", "--re"], ["--reason"], ["--fix"]),
    (["doctor", "--"], ["--fix", "--json"], ["--version"]),
    (["list", "dr"], ["drives"], ["drill"]),
    (["diff", "--since", ""], ["boot", "last-run"], ["status"]),
    (["--lang", "z"], ["zh_CN"], ["de"]),
    (["--lang", "de", "exp"], ["explain"], ["de"]),
    (["config", "s"], ["show", "schema"], ["status"]),
]


def check_shell(name, ask, questions):
    for words, wanted, unwanted in questions:
        offers = ask(*words)
        for word in wanted:
            check(word in offers, f"{name} does not offer {word} after {words}: {offers}")
        for word in unwanted:
            check(word not in offers, f"{name} offers {word} after {words}")


def main(program):
    found = commands(program)
    check(("watch",) in found and ("scenario", "play") in found,
          f"the help of raidwatch was not understood: {sorted(found)}")
    check_texts(found)
    check_shell("bash", ask_bash, QUESTIONS)
    check_options("bash", ask_bash, found)
    for shell in ("zsh", "fish"):
        if not shutil.which(shell):
            print(f"SKIPPED: {shell} is not installed; its completion was only read")
            continue
        result = subprocess.run([shell, "-n", COMPLETIONS[shell]], check=False,
                                capture_output=True, text=True)
        check(result.returncode == 0 and not result.stderr, f"{shell} -n says {result.stderr}")
        check_shell(shell, ask_zsh if shell == "zsh" else ask_fish, QUESTIONS)
        if shell == "fish":  # zsh takes a second for each
            check_options(shell, ask_fish, found)
    for line in failures:
        print(line, file=sys.stderr)
    if not failures:
        print(f"{len(found) - 1} verbs are in raidwatch(1) and in the completions of 3 shells")
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    sys.exit(main(sys.argv[1]))

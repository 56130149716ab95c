"""Completion scripts and man pages have every command and option of the help."""

import json
import pathlib
import re
import subprocess

from kestrelbay import PROGRAM, TestCase, environment

SHELLS = ("bash", "powershell", "zsh")
SCRIPTS = pathlib.Path(__file__).parents[2] / "scripts"


class CompletionTest(TestCase):
    def commands(self):
        """The commands of the help, with the options of each; the program's own are those of the name ""."""
        names = re.findall(r"^  ([a-z]+) +[A-Z]", self.output("--help").partition("ommands:\n")[2], re.MULTILINE)
        self.assertGreater(len(names), 15)
        options = {}
        for name in ["", *names]:
            text = self.output(*([name] if name else []), "--help")
            spellings = re.findall(r"^  (-[-a-z,]+)", text, re.MULTILINE)
            options[name] = [option for spelling in spellings for option in spelling.split(",")]
        self.assertIn("--help", options["icon"])
        return options

    def script(self, shell):
        text = self.output("completion", shell)
        self.assertEqual(json.loads(self.output("--json", "completion", shell)), {"script": text})
        path = self.folder / shell
        path.write_text(text)
        return path

    def complete(self, shell, words):
        """What the shell offers for the last of these words; FILES if it offers names of files."""
        done = subprocess.run([shell, "-c", BASH if shell == "bash" else ZSH, shell, *words],
                              capture_output=True, text=True, env=environment(SCRIPT=str(self.folder / shell)))
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout.split()

    def test_shells_offer_every_command_and_option(self):
        commands = self.commands()
        for shell in ("bash", "zsh"):
            self.script(shell)
            self.assertEqual(self.complete(shell, ["kestrelbay", ""]), list(commands)[1:])
            for command, options in commands.items():
                with self.subTest(shell=shell, command=command):
                    words = ["kestrelbay", *([command] if command else []), "--"]
                    expected = {option for option in options if option.startswith("--")}
                    self.assertEqual(set(self.complete(shell, words)) - set(commands[""]), expected - set(commands[""]))
                    self.assertLessEqual(expected, set(self.complete(shell, words)))

    def test_powershell_script_has_every_command_and_option(self):
        lines = self.script("powershell").read_text().splitlines()
        first = next(line for line in lines if "$options = @(" in line)
        for command, options in self.commands().items():
            line = next(line for line in lines if line.strip().startswith(f"'{command}' {{"))
            for option in options:
                self.assertRegex(line + first, f"'{option}\\|[A-Z0-9]", (command, option))
        names = next(line for line in lines if line.strip().startswith("'' {"))
        self.assertEqual(re.findall(r"'([a-z]+)\|", names), list(self.commands())[1:])

    def test_skips_options_and_their_values(self):
        for shell in ("bash", "zsh"):
            self.script(shell)
            for words, offered in ((["--json", "ic"], ["icon"]),
                                   (["--machine", "list", "ic"], ["icon"]),
                                   (["--machine", ""], ["FILES"]),
                                   (["icon", "-o", ""], ["FILES"]),
                                   (["capture", ""], ["FILES"]),
                                   (["completion", ""], list(SHELLS)),
                                   (["icon", "--ou"], ["--output"])):
                with self.subTest(shell=shell, words=words):
                    self.assertEqual(self.complete(shell, ["kestrelbay", *words]), offered)

    def test_an_unknown_shell_is_refused(self):
        self.assertIn("fish", self.refusal(2, "completion", "fish"))

    def test_man_pages_have_every_command_and_option(self):
        pages = self.folder / "pages"
        subprocess.run([SCRIPTS / "make-man-pages", PROGRAM, pages], check=True)
        commands = self.commands()
        self.assertEqual({page.name for page in pages.iterdir()},
                         {f"kestrelbay{'-' + name if name else ''}.1" for name in commands})
        for command, options in commands.items():
            name = f"kestrelbay-{command}" if command else "kestrelbay"
            page = (pages / f"{name}.1").read_text()
            self.assertRegex(page, rf"\.SH NAME\n{name} \\- [a-z]")
            text = re.sub(r"\\(f[BIR]|,|/)", "", page).replace("\\-", "-")
            for option in options:
                self.assertRegex(text, rf"(?m)^(-\w, )?{option}\b", name)
            for other in list(commands)[1:] if not command else []:
                self.assertRegex(text, rf"(?m)^{other}$")


# The shell's own part of a completion: it gives the words up to the cursor and shows what is offered.
BASH = """
source "$SCRIPT"
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
COMPREPLY=()
_kestrelbay
[ ${#COMPREPLY[@]} -gt 0 ] || COMPREPLY=(FILES)
printf '%s\\n' "${COMPREPLY[@]}"
"""
ZSH = """
_files() { print FILES }
_describe() {
  [[ $1 != -o ]] || shift
  local word
  for word in "${(@P)2}"; do [[ $word != $words[CURRENT]* ]] || print -r -- ${word%%:*}; done
}
words=("$@") CURRENT=$#
source "$SCRIPT"
"""

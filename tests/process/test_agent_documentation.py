"""What is written about the agent agrees with what it does."""

import re
import shutil
import subprocess
import unittest

import transcripts
from support import AGENT, EXAMPLES, AgentTest

TREE = EXAMPLES.parent
MAN_PAGE = TREE / "docs/spf-agent.1"
BASH = TREE / "standalone/agent/completion/spf-agent.bash"
ZSH = TREE / "standalone/agent/completion/_spf-agent"


def help_of(*verb):
    return subprocess.run([AGENT, *verb, "--help"], capture_output=True, text=True, check=True).stdout


def verbs():
    listed = help_of().partition("Verbs:\n")[2].partition("\n\n")[0]
    return re.findall(r"^  (\w+)", listed, re.MULTILINE)


def options(verb):
    return set(re.findall(r"^  (?:-\w,)?(--[\w-]+)", help_of(verb), re.MULTILINE))


class Options(unittest.TestCase):
    def test_there_are_verbs_with_options(self):
        self.assertEqual(verbs(), ["run", "validate", "show", "schema", "legacy"])
        self.assertIn("--timeout", options("run"))

    def test_man_page(self):
        chapter = MAN_PAGE.read_text().partition(".SH VERBS\n")[2].partition(".SH ")[0]
        sections = dict(re.findall(r"^\.SS (\w+)\n(.*?)(?=^\.SS|\Z)", chapter, re.MULTILINE | re.DOTALL))
        self.assertEqual(list(sections), verbs())
        for verb, text in sections.items():
            with self.subTest(verb=verb):
                found = re.findall(r"^\.TP\n\.BI? (\\-\\-[\w\\-]+)", text, re.MULTILINE)
                self.assertEqual({name.replace("\\", "") for name in found}, options(verb))

    def test_exit_statuses(self):
        chapter = MAN_PAGE.read_text().partition(".SH EXIT STATUS\n")[2].partition(".SH ")[0]
        described = re.findall(r"^\.TP\n\.B (\d+)", chapter, re.MULTILINE)
        helped = re.findall(r"\d+", help_of().partition("Exit status:")[2])
        self.assertEqual(described, helped)

    @unittest.skipUnless(shutil.which("groff"), "no groff to format the page with")
    def test_man_page_is_formatted_without_warnings(self):
        done = subprocess.run(["groff", "-man", "-ww", "-z", MAN_PAGE], capture_output=True, text=True, check=True)
        self.assertEqual(done.stderr, "")

    def complete(self, *words):
        script = f'source {BASH}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _spf_agent; printf "%s\\n" "${{COMPREPLY[@]}}"'
        done = subprocess.run(
            ["bash", "-c", script, "bash", "spf-agent", *words], capture_output=True, text=True, check=True, cwd=EXAMPLES
        )
        return done.stdout.split()

    def test_bash_completion(self):
        self.assertEqual(self.complete(""), [*verbs(), "--help", "--version"])
        for verb in verbs():
            with self.subTest(verb=verb):
                self.assertEqual(set(self.complete(verb, "--")), options(verb))
        self.assertEqual(self.complete("run", "--progress", "t"), ["tty"])
        self.assertEqual(self.complete("run", "demo-b"), ["demo-binder.json"])

    def test_zsh_completion(self):
        text = ZSH.read_text()
        shared = {name: re.findall(r"--[\w-]+", value) for name, value in re.findall(r"local (\w+)='(.*)'", text)}
        cases = re.findall(r"^        (\w+)\)(.*?);;", text, re.MULTILINE | re.DOTALL)
        self.assertEqual([verb for verb, _ in cases], verbs())
        self.assertEqual(re.findall(r"^        '(\w+):", text, re.MULTILINE), verbs())
        for verb, body in cases:
            with self.subTest(verb=verb):
                found = {name for variable in re.findall(r"\$(\w+)", body) for name in shared[variable]}
                found |= set(re.findall(r"--[\w-]+", body))
                self.assertEqual(found, options(verb))


class Transcripts(AgentTest):
    """The page shows what the program prints today, but for times and for the order of what happens at once."""

    @staticmethod
    def comparable(text):
        text = re.sub(r"\[ *\d+\.\d+\]", "[elapsed]", text)
        text = re.sub(r"\b\d+s\b", "age", text)
        lines = [re.sub(r" +", " ", line) for line in text.splitlines()]
        return sorted(line for line in lines if not line.endswith(": gone"))  # is told unless the end comes sooner

    def test_of_the_page_are_those_of_the_program(self):
        written, made = transcripts.written(), transcripts.make()
        self.assertEqual(set(written), set(made))
        for name, text in made.items():
            with self.subTest(transcript=name):
                self.assertEqual(self.comparable(written[name]), self.comparable(text))

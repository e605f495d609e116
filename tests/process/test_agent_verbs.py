"""The verbs besides `run`, and files that are no configuration at all."""

import json
import os
import pathlib
import signal
import subprocess
import unittest

from support import AGENT, EXAMPLES, FAILED, INVALID, PATIENCE, SUCCESS, AgentTest, configuration


class Verbs(AgentTest):
    def answer(self, *arguments, status=SUCCESS, stdin=""):
        done = subprocess.run(
            [AGENT, *arguments],
            cwd=self.directory,
            env={**os.environ, "TMPDIR": str(self.directory)},  # so that what is left behind is seen
            input=stdin,
            capture_output=True,
            text=True,
            timeout=60,
            check=False,
        )
        self.assertEqual(done.returncode, status, done.stderr)
        return done

    def test_version_names_program_and_release(self):
        self.assertRegex(self.answer("--version").stdout, r"^spf-agent \d+\.\d+\.\d+\n$")

    def test_help_of_every_verb_has_examples(self):
        for verb in ("run", "validate", "show", "schema", "legacy"):
            with self.subTest(verb=verb):
                self.assertRegex(self.answer(verb, "--help").stdout, rf"Examples?:\n(.*\n)*  .*spf-agent {verb}")

    def test_no_verb_and_unknown_verbs_are_usage_errors(self):
        self.assertIn("VERB is required", self.answer(status=INVALID).stderr)
        self.assertIn("nonsense", self.answer("nonsense", status=INVALID).stderr)

    def test_an_unknown_style_of_progress_is_refused_with_those_that_there_are(self):
        done = self.answer("run", "c.json", "--progress", "loud", status=INVALID)
        self.assertIn('--progress: "loud" is not a style: auto, tty, plain, json or quiet', done.stderr)

    def test_once_and_for_exclude_each_other(self):
        done = self.answer("run", "c.json", "--once", "--for", "1s", status=INVALID)
        self.assertRegex(done.stderr, r"--for excludes --once|--once excludes --for")

    def test_an_option_takes_one_value_only(self):
        done = self.answer("run", "c.json", "--expect", "Lamp", "Door", status=INVALID)
        self.assertIn("not expected: Door", done.stderr)

    def test_an_installation_without_configuration_admin_is_named_as_such(self):
        bundles = self.directory / "root/bin/darwinarm64"
        (bundles / "microservices").mkdir(parents=True)
        (bundles / "spf").symlink_to(pathlib.Path(AGENT).parent / "darwinarm64/spf")
        for arguments in (["run", self.write("c.json", configuration("c"))], ["legacy"]):
            with self.subTest(arguments=arguments):
                agent = self.start_with(*arguments, "--root", "root", "--runtime-directory", "runtime", "--progress", "json")
                self.assertEqual(agent.end(), FAILED)
                self.assertIn("the framework has no Configuration Admin service", agent.texts("failure")[0])

    def test_schema_is_the_one_that_is_shipped_for_editors(self):
        shipped = EXAMPLES.parent / "standalone/agent/schema/spf-agent.schema.json"
        self.assertEqual(self.answer("schema").stdout, shipped.read_text())

    def test_validate_reads_standard_input(self):
        self.assertEqual(self.answer("validate", "-", stdin='{"configurationID": "c"}').stdout, "standard input: valid\n")
        self.assertIn("standard input:1:1: ", self.answer("validate", "-", stdin="x", status=INVALID).stderr)

    def test_names_of_files_come_without_control_characters(self):
        name = self.write("a\x1b[2J.json", configuration("c"))
        self.assertEqual(self.answer("validate", name).stdout, "a\\x1b[2J.json: valid\n")

    def test_validate_notes_interfaces_that_are_offered_to_nobody(self):
        entry = '{"uniqueID": "i", "name": "Lamp"}'
        answer = self.answer("validate", "-", stdin='{"configurationID": "c", "serviceInterfaces": [\n' + entry + "]}")
        self.assertEqual(answer.stdout, "standard input: valid\n")
        self.assertEqual(
            answer.stderr,
            "standard input:2: /serviceInterfaces/0: note: offered to nobody, because the file has no publishers\n",
        )

    def test_show_prints_the_map_that_would_be_published(self):
        content = configuration("c", bind=["unix:b"], connect=["unix:x"], interfaces=["Lamp"])
        content["serviceInterfaces"][0]["requiredRuntimeProperties"] = {"room": "kitchen"}
        published = json.loads(self.answer("show", self.write("c.json", content)).stdout)
        self.assertEqual(
            published,
            {
                "modificationCount": 1,
                "serviceConfigurations": [
                    {
                        "uniqueID": "Lamp-1",
                        "name": "Lamp",
                        "version": {"major": 1},
                        "requestedProperties": {"spf::requiredServiceProperty::room": "kitchen"},
                    }
                ],
                "servicePublisherConfigurations": [
                    {
                        "uniqueID": "p",
                        "name": "rpcservicepublisher",
                        "factoryPID": "qo.spf.rpcservicepublisher",
                        "config": {
                            "endpointsToConnectTo": ["unix:x"],
                            "endpointsToBindTo": ["unix:b"],
                            "importFilter": "",
                            "exportFilter": "",
                        },
                    }
                ],
                "servicePublisherMappings": [{"serviceID": "Lamp-1", "publisherID": "p"}],
            },
        )

    def test_show_publishes_nothing_and_leaves_nothing_behind(self):
        self.answer("show", self.write("c.json", configuration("c", bind=["unix:mine"])))
        self.answer("show", "c.json", "--root", "nowhere", status=FAILED)
        self.assertEqual([entry.name for entry in self.directory.iterdir()], ["c.json"])

    def test_show_of_an_invalid_file_and_without_an_installation(self):
        self.answer("show", self.write("bad.json", "{"), status=INVALID)
        done = self.answer("show", self.write("c.json", configuration("c")), "--root", "nowhere", status=FAILED)
        self.assertIn("nowhere/bin/darwinarm64", done.stderr)
        self.assertIn("check the installation (--root)", done.stderr)

    def test_show_without_a_directory_for_temporary_files_says_which_it_lacks(self):
        self.write("c.json", configuration("c"))
        agent = self.start_with("show", "c.json", environment={"TMPDIR": "nowhere"})
        self.assertEqual(agent.end(), FAILED)
        self.assertIn("(TMPDIR): No such file or directory", agent.complaints[0])

    def test_legacy_publishes_and_stays_until_it_is_interrupted(self):
        agent = self.start_with("legacy", "--progress", "json", "--runtime-directory", "runtime")
        agent.wait_for(event="published", configurationID="LegacySetupFramework")
        names = {agent.wait_for(event="endpoint", state="connecting")["endpoint"] for _ in range(2)}
        self.assertEqual(names, {"zentorConnectorDiscovery", "corvalithServiceHostDiscovery"})
        agent.send(signal.SIGINT)
        agent.wait_for(event="interrupted")
        self.assertEqual(agent.end(), 128 + signal.SIGINT)
        self.assertEqual(agent.results(), ["published LegacySetupFramework"])

    def test_legacy_tells_of_all_that_happens_from_its_first_moment(self):
        for _ in range(20):  # what comes between publishing and listening is missed now and then only
            agent = self.start_with("legacy", "--progress", "json", "--runtime-directory", "runtime")
            agent.wait_for(event="published")
            agent.wait_for(event="services", state="published")
            agent.send(signal.SIGTERM)
            self.assertEqual(agent.end(), 128 + signal.SIGTERM)

    def test_legacy_has_no_file_to_read_again_and_says_so(self):
        agent = self.start_with("legacy", "--progress", "json", "--runtime-directory", "runtime")
        agent.wait_for(event="published")
        agent.send(signal.SIGHUP)
        agent.wait_for(event="unchanged", text="SIGHUP: the legacy configuration has no file to read again")
        agent.send(signal.SIGINT)
        self.assertEqual(agent.end(), 128 + signal.SIGINT)

    def test_legacy_without_an_installation_fails(self):
        agent = self.start_with("legacy", "--progress", "json", "--root", "nowhere")
        self.assertEqual(agent.end(), FAILED)
        self.assertIn("nowhere/bin/darwinarm64", agent.texts("failure")[0])

    def test_a_result_that_cannot_be_written_is_a_failure(self):
        run = ["run", self.write("c.json", configuration("c")), "--once", "--progress"]
        styles = ("plain", "json", "tty", "quiet")
        for arguments in (["schema"], ["--version"], ["run", "--help"], *([*run, style] for style in styles)):
            with self.subTest(arguments=arguments), open("/dev/full", "w", encoding="utf-8") as full:
                done = subprocess.run(
                    [AGENT, *arguments], cwd=self.directory, stdout=full, stderr=subprocess.PIPE, timeout=60, check=False
                )
                self.assertEqual(done.returncode, FAILED)
                if arguments[-1] != "--help" and arguments != ["--version"]:
                    self.assertIn(b"cannot write the result to standard output", done.stderr)


class UnusualFiles(AgentTest):
    """Whatever the file holds, the agent says what is wrong and ends with status 2."""

    def check(self, content, expected):
        (self.directory / "file").write_bytes(content)
        agent = self.start_with("validate", "file")
        self.assertEqual(agent.end(), INVALID)
        self.assertTrue(any(expected in line for line in agent.complaints), agent.complaints)

    def test_empty(self):
        self.check(b"", "file: it is empty")

    def test_deeply_nested(self):
        self.check(b"[" * 1_000_000, "nested deeper than the 64 levels")
        self.check(b'{"a":' * 100_000 + b"1" + b"}" * 100_000, "nested deeper than the 64 levels")

    def test_not_utf_8(self):
        self.check(b'{"configurationID": "\xff"}', "file:1:22: ")

    def test_nul_bytes(self):
        self.check(b"\0" * 100, "file:1:1: ")
        self.check(b'{"configurationID": "a\0b"}', "file:1:23: ")

    def test_number_out_of_range(self):
        self.check(b'{"configurationID": 1e999}', "number overflow parsing '1e999'")

    def test_binary(self):
        self.check(bytes(range(256)) * 64, "file:1:1: ")

    def test_cut_off_at_every_byte(self):
        whole = (EXAMPLES / "demo-connector.json").read_bytes().rstrip()
        for length in range(0, len(whole), 37):
            with self.subTest(length=length):
                self.check(whole[:length], "file")

    def test_directory(self):
        agent = self.start_with("validate", ".")
        self.assertEqual(agent.end(), INVALID)
        self.assertEqual(agent.complaints, [".: cannot read it: Is a directory"])

    @unittest.skipIf(os.geteuid() == 0, "root may read every file")
    def test_unreadable(self):
        (self.directory / "secret").touch(mode=0)
        agent = self.start_with("validate", "secret")
        self.assertEqual(agent.end(), INVALID)
        self.assertEqual(agent.complaints, ["secret: cannot open it: Permission denied"])

    def test_endless(self):
        agent = self.start_with("validate", "/dev/zero")
        self.assertEqual(agent.end(), INVALID)

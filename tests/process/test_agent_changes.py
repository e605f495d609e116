"""A changed file is applied to the running configuration: asked for with SIGHUP, or seen with --watch."""

import copy
import json
import os
import pathlib
import shutil
import signal

from support import INVALID, NOT_READY, SUCCESS, AgentTest, configuration

LATE_REPORT = pathlib.Path(os.environ["SPF_TEST_LATE_REPORT_BUNDLE"])
BEFORE = configuration("c", bind=["unix:first"], interfaces=["Lamp"])
AFTER = configuration("c", bind=["unix:first", "unix:second"], interfaces=["Lamp", "Door"])


class ChangeTest(AgentTest):
    def ready(self, *options):
        agent = self.start(BEFORE, *options)
        agent.wait_for(event="ready")
        return agent

    def check_goes_on(self, agent):
        """The configuration runs, and ends as ever."""
        self.assertTrue((self.directory / "first").exists())
        agent.send(signal.SIGINT)
        agent.wait_for(event="withdrawn")
        self.assertEqual(agent.end(), 128 + signal.SIGINT)
        self.assertFalse((self.directory / "first").exists())


class Hangup(ChangeTest):
    def reload(self, agent, content):
        self.write("c.json", content)
        agent.send(signal.SIGHUP)
        agent.wait_for(event="reload")

    def test_the_difference_is_shown_and_the_next_modification_published(self):
        agent = self.ready()
        self.reload(agent, AFTER)
        agent.wait_for(event="modifying", modificationCount=2, changes=2)
        agent.wait_for(event="published", modificationCount=2)
        agent.wait_for(event="ready")
        self.assertEqual(
            [entry["difference"] for entry in agent.seen_of("difference")],
            [
                '~ service publisher "p": "endpointsToBindTo": ["unix:first"] -> ["unix:first","unix:second"]',
                '+ service interface "Door-1"',
            ],
        )
        self.assertTrue((self.directory / "second").exists())
        self.check_goes_on(agent)
        self.assertEqual(agent.results(), ["ready c", "ready c", "withdrawn c"])
        self.assertFalse((self.directory / "second").exists())

    def test_what_both_versions_share_is_not_disturbed(self):
        agent = self.ready()
        inode = (self.directory / "first").stat().st_ino
        self.reload(agent, AFTER)
        agent.wait_for(event="ready")
        self.assertEqual((self.directory / "first").stat().st_ino, inode)
        self.assertEqual([e["state"] for e in agent.seen_of("endpoint") if e["endpoint"] == "unix:first"], ["bound"])

    def test_a_publisher_that_is_left_out_is_closed_and_can_come_back(self):
        content = copy.deepcopy(BEFORE)
        content["servicePublishers"].append(
            {"uniqueID": "q", "name": "rpcservicepublisher", "endpointsToBindTo": ["unix:second"]}
        )
        agent = self.ready()
        for present in (True, False, True):
            self.reload(agent, content if present else BEFORE)
            agent.wait_for(event="ready")
            if present:
                self.assertTrue((self.directory / "second").exists())
            else:
                self.wait_until_gone("second")
        self.check_goes_on(agent)

    def test_an_interface_that_is_left_out_is_offered_no_more(self):
        agent = self.ready()
        self.reload(agent, AFTER)
        peer = self.start(configuration("peer", connect=["unix:first"]), "--expect", "Door", "--timeout", "0")
        peer.wait_for(event="ready")
        self.reload(agent, BEFORE)
        peer.wait_for(event="remote", interface="Door", state="gone")
        self.check_goes_on(agent)

    def test_late_reports_that_an_older_version_is_removed_do_not_count(self):
        other = {"uniqueID": "other", "name": "rpcservicepublisher"}
        before, after = copy.deepcopy(BEFORE), copy.deepcopy(AFTER)
        for content in before, after:
            content["servicePublishers"].append(other)
        self.build_installation(LATE_REPORT)
        agent = self.start_with(
            "run", self.write("c.json", before), "--progress", "json", "--runtime-directory", "runtime",
            "--root", "root", environment={"SPF_TEST_LATE_REPORT": "yes"},
        )
        agent.wait_for(event="ready")
        self.reload(agent, after)
        agent.wait_for(event="ready")
        agent.send(signal.SIGINT)
        agent.wait_for(event="failure", text="after the late reports")
        removed = [entry["publisher"] for entry in agent.seen_of("services") if entry["state"] == "unpublished"]
        self.assertLess(len(removed), 2, removed)  # by then only one can be
        agent.wait_for(event="withdrawn")

    def test_an_unchanged_file_says_so(self):
        agent = self.ready()
        self.reload(agent, {"$schema": "elsewhere", **BEFORE})
        agent.wait_for(event="unchanged")
        self.assertEqual(agent.seen_of("modifying"), [])
        self.check_goes_on(agent)

    def test_a_bad_file_is_refused_with_all_that_is_wrong(self):
        agent = self.ready()
        self.reload(agent, '{\n"configurationID": 1,\n"x": 2}')
        agent.wait_for(event="refused")
        self.assertEqual(
            [(problem["line"], problem["where"]) for problem in agent.seen_of("problem")],
            [(2, "/configurationID"), (3, "/x")],
        )
        self.check_goes_on(agent)

    def test_a_file_that_has_gone_is_refused(self):
        agent = self.ready()
        (self.directory / "c.json").unlink()
        agent.send(signal.SIGHUP)
        agent.wait_for(event="refused")
        self.assertIn("No such file or directory", agent.texts("problem")[0])
        self.check_goes_on(agent)

    def test_another_configuration_id_is_refused(self):
        agent = self.ready()
        self.reload(agent, {**BEFORE, "configurationID": "d"})
        agent.wait_for(event="refused")
        self.assertEqual(agent.seen_of("problem")[0]["where"], "/configurationID")
        self.check_goes_on(agent)

    def test_a_change_while_waiting_can_make_it_ready(self):
        agent = self.start(configuration("c", bind=["unix:first"], connect=["unix:nobody"]), "--timeout", "0")
        agent.wait_for(event="endpoint", state="connecting", reason="No such file or directory")
        self.reload(agent, BEFORE)
        agent.wait_for(event="ready")
        self.check_goes_on(agent)

    def test_a_modification_that_fails_leaves_the_agent_running_and_can_be_mended(self):
        agent = self.ready()
        self.reload(agent, configuration("c", bind=["unix:first", "carrier-pigeon:7"]))
        agent.wait_for(event="failure")
        self.reload(agent, AFTER)
        agent.wait_for(event="ready")
        self.check_goes_on(agent)

    def test_a_modification_that_is_late_lists_what_is_outstanding_and_leaves_the_agent_running(self):
        agent = self.ready("--timeout", "1s")
        self.reload(agent, configuration("c", bind=["unix:first"], connect=["unix:nobody"]))
        agent.wait_for(event="outstanding", endpoint="unix:nobody")
        self.reload(agent, AFTER)
        agent.wait_for(event="ready")
        self.check_goes_on(agent)
        self.assertEqual(len(agent.seen_of("outstanding")), 1)

    def test_a_modification_that_stays_late_shows_in_the_status_at_the_end(self):
        agent = self.ready("--for", "8s", "--timeout", "1s")
        self.reload(agent, configuration("c", bind=["unix:first"], connect=["unix:nobody"]))
        agent.wait_for(event="outstanding", endpoint="unix:nobody")
        self.assertEqual(agent.end(), NOT_READY)

    def test_a_modification_that_is_late_becomes_ready_when_its_peer_comes(self):
        agent = self.ready("--timeout", "1s")
        self.reload(agent, configuration("c", bind=["unix:first"], connect=["unix:late"]))
        agent.wait_for(event="outstanding", endpoint="unix:late")
        self.start(configuration("late", bind=["unix:late"]))
        agent.wait_for(event="ready")
        agent.send(signal.SIGHUP)
        agent.wait_for(event="unchanged")
        self.check_goes_on(agent)
        self.assertEqual(agent.results(), ["ready c", "ready c", "withdrawn c"])

    def test_the_time_to_stay_goes_on_while_a_modification_is_late_and_its_mending_is_a_success(self):
        agent = self.ready("--for", "8s", "--timeout", "1s")
        self.reload(agent, configuration("c", bind=["unix:first"], connect=["unix:nobody"]))
        agent.wait_for(event="outstanding", endpoint="unix:nobody")
        self.reload(agent, AFTER)
        mended = agent.wait_for(event="ready")
        ended = agent.wait_for(event="withdrawing")
        self.assertLess(ended["elapsed"] - mended["elapsed"], 7.9)  # it took more than a second to be late
        self.assertEqual(agent.end(), SUCCESS)

    def test_the_time_to_stay_ends_while_a_modification_is_waited_for(self):
        agent = self.ready("--for", "2s", "--timeout", "0")
        self.write("c.json", configuration("c", bind=["unix:first"], connect=["unix:nobody"]))
        agent.send(signal.SIGHUP)
        agent.wait_for(event="withdrawing")
        self.assertEqual(agent.end(), SUCCESS)

    def test_a_failure_that_a_modification_has_mended_fails_again_aloud(self):
        bad = configuration("c", bind=["unix:first", "carrier-pigeon:7"])
        agent = self.ready()
        for content in (bad, AFTER, bad):
            self.reload(agent, content)
            agent.wait_for(event="failure" if content is bad else "ready")
        self.check_goes_on(agent)

    def test_standard_input_cannot_be_read_again(self):
        name = self.write("c.json", BEFORE)
        with open(self.directory / name, encoding="utf-8") as stream:
            agent = self.start_with("run", "-", "--progress", "json", "--runtime-directory", "runtime", stdin=stream)
        agent.wait_for(event="ready")
        agent.send(signal.SIGHUP)
        agent.wait_for(event="refused")
        self.check_goes_on(agent)


class Watch(ChangeTest):
    def test_a_file_that_is_written_is_applied(self):
        agent = self.ready("--watch")
        self.write("c.json", AFTER)
        agent.wait_for(event="published", modificationCount=2)
        agent.wait_for(event="ready")
        self.check_goes_on(agent)

    def test_a_change_of_the_same_size_within_the_same_second_is_applied(self):
        file = self.directory / self.write("c.json", BEFORE)
        second = 1_000_000_000 * 1_000_000_000  # in nanoseconds
        os.utime(file, ns=(second, second))
        agent = self.start_with("run", "c.json", "--watch", "--progress", "json", "--runtime-directory", "runtime")
        agent.wait_for(event="ready")
        with open(file, "r+", encoding="utf-8") as stream:
            stream.write(json.dumps(BEFORE).replace("Lamp", "Door"))
            stream.flush()
            os.utime(stream.fileno(), ns=(second, second + 1))
        agent.wait_for(event="published", modificationCount=2)
        self.check_goes_on(agent)

    def test_a_file_that_is_replaced_is_applied(self):
        agent = self.ready("--watch")
        os.replace(self.directory / self.write("new.json", AFTER), self.directory / "c.json")
        agent.wait_for(event="published", modificationCount=2)
        agent.wait_for(event="ready")
        self.check_goes_on(agent)

    def test_a_link_that_leads_elsewhere_is_applied(self):
        self.write("one.json", BEFORE)
        self.write("two.json", AFTER)
        (self.directory / "link.json").symlink_to("one.json")
        agent = self.start_with(
            "run", "link.json", "--watch", "--progress", "json", "--runtime-directory", "runtime"
        )
        agent.wait_for(event="ready")
        (self.directory / "new").symlink_to("two.json")
        os.replace(self.directory / "new", self.directory / "link.json")
        agent.wait_for(event="published", modificationCount=2)
        self.check_goes_on(agent)

    def test_a_file_in_another_directory_that_a_link_leads_to_is_applied(self):
        for directory in ("one", "two"):
            (self.directory / directory).mkdir()
        self.write("one/target.json", BEFORE)
        self.write("two/target.json", BEFORE)
        (self.directory / "link.json").symlink_to("one/target.json")
        agent = self.start_with(
            "run", "link.json", "--watch", "--progress", "json", "--runtime-directory", "runtime"
        )
        agent.wait_for(event="ready")
        self.write("one/target.json", AFTER)
        agent.wait_for(event="published", modificationCount=2)
        (self.directory / "new").symlink_to("two/target.json")
        os.replace(self.directory / "new", self.directory / "link.json")
        agent.wait_for(event="published", modificationCount=3)
        self.write("two/target.json", AFTER)
        agent.wait_for(event="published", modificationCount=4)
        self.check_goes_on(agent)

    def start_in(self, directory, *, leads_to=None):
        """An agent that watches the file in a directory, or in one that a link of that name leads to."""
        (self.directory / (leads_to or directory)).mkdir(parents=True)
        self.write(f"{leads_to or directory}/c.json", BEFORE)
        if leads_to:
            (self.directory / directory).symlink_to(leads_to)
        agent = self.start_with(
            "run", self.directory / directory / "c.json", "--watch", "--progress", "json",
            "--runtime-directory", "runtime",
        )
        agent.wait_for(event="ready")
        return agent

    def check_follows(self, agent, file):
        """The change that was made is applied, and so is the next one."""
        agent.wait_for(event="published", modificationCount=2)
        self.write(file, BEFORE)
        agent.wait_for(event="published", modificationCount=3)
        self.check_goes_on(agent)

    def test_a_directory_that_is_replaced_is_followed(self):
        agent = self.start_in("current")
        (self.directory / "new").mkdir()
        self.write("new/c.json", AFTER)
        os.rename(self.directory / "current", self.directory / "old")
        os.rename(self.directory / "new", self.directory / "current")
        self.check_follows(agent, "current/c.json")

    def test_a_directory_further_up_that_is_replaced_is_followed(self):
        agent = self.start_in("current/below")
        (self.directory / "new/below").mkdir(parents=True)
        self.write("new/below/c.json", AFTER)
        os.rename(self.directory / "current", self.directory / "old")
        os.rename(self.directory / "new", self.directory / "current")
        self.check_follows(agent, "current/below/c.json")

    def test_a_directory_that_is_removed_and_made_anew_is_followed(self):
        agent = self.start_in("current")
        shutil.rmtree(self.directory / "current")
        (self.directory / "current").mkdir()
        self.write("c.json", AFTER)
        os.replace(self.directory / "c.json", self.directory / "current/c.json")
        self.check_follows(agent, "current/c.json")

    def test_that_the_file_is_not_there_for_a_while_is_no_change(self):
        agent = self.start_in("current")
        os.rename(self.directory / "current", self.directory / "old")
        agent.send(signal.SIGHUP)
        agent.wait_for(event="refused")
        os.rename(self.directory / "old", self.directory / "current")
        os.replace(self.directory / self.write("new.json", AFTER), self.directory / "current/c.json")
        agent.wait_for(event="published", modificationCount=2)
        causes = [entry["cause"] for entry in agent.seen_of("reload")]
        self.assertEqual(causes, ["SIGHUP", "the file has changed"])
        self.check_goes_on(agent)

    def test_a_link_to_a_directory_that_leads_elsewhere_is_followed(self):
        agent = self.start_in("current", leads_to="releases/one")
        (self.directory / "releases/two").mkdir()
        self.write("releases/two/c.json", AFTER)
        (self.directory / "new").symlink_to("releases/two")
        os.replace(self.directory / "new", self.directory / "current")
        self.check_follows(agent, "releases/two/c.json")

    def test_a_change_among_more_than_the_system_can_tell_is_applied(self):
        most = int(pathlib.Path("/proc/sys/fs/inotify/max_queued_events").read_text())
        if most > 100_000:
            self.skipTest("the system can tell too many")
        agent = self.start_in("current")
        agent.send(signal.SIGSTOP)
        os.waitid(os.P_PID, agent.pid, os.WSTOPPED | os.WNOWAIT)
        for index in range(most + 1):  # of equal ones in succession the system tells one
            (self.directory / f"current/{index % 2}").write_text("")
        self.write("current/c.json", AFTER)
        agent.send(signal.SIGCONT)
        self.check_follows(agent, "current/c.json")

    def test_a_bad_file_is_refused_and_the_next_good_one_applied(self):
        agent = self.ready("--watch")
        self.write("c.json", "{")
        agent.wait_for(event="refused")
        self.write("c.json", AFTER)
        agent.wait_for(event="published", modificationCount=2)
        self.check_goes_on(agent)

    def test_standard_input_cannot_be_watched(self):
        agent = self.start_with("run", "-", "--watch")
        self.assertEqual(agent.end(), INVALID)
        self.assertIn("--watch: standard input cannot be watched", agent.complaints)

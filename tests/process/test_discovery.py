"""Discovery names between processes: an announcement counts as long as its process lives, and no longer."""

import signal
import socket
import unittest

from support import AgentTest

NAME = "zentorConnectorDiscovery"


def legacy(configuration_id, bind=(), connect=(), interfaces=()):
    return {
        "configurationID": configuration_id,
        "serviceInterfaces": [
            {"uniqueID": interface + "-1", "name": interface, "servicePublishers": "all"} for interface in interfaces
        ],
        "servicePublishers": [
            {
                "uniqueID": "p",
                "name": "legacyservicepublisher",
                "endpointsToBindTo": list(bind),
                "endpointsToConnectTo": list(connect),
            }
        ],
    }


class Announcers(AgentTest):
    """An agent looks for a name that others announce."""

    NOBODY = f'no running process announces "{NAME}"'

    def setUp(self):
        super().setUp()
        self.seeker = self.start(legacy("seeker", connect=[NAME]), "--timeout", "0", "--expect", "Clock")
        self.seeker.wait_for(event="endpoint", state="connecting", reason=self.NOBODY)

    def start_announcer(self):
        announcer = self.start(legacy("announcer", bind=[NAME], interfaces=["Clock"]))
        announcer.wait_for(event="ready")
        return announcer

    def left_in_runtime_directory(self):
        return sorted(path.name for path in (self.directory / "runtime").iterdir())

    def wait_for_loss(self):
        self.seeker.wait_for(event="remote", interface="Clock", state="gone")
        self.seeker.wait_for(event="endpoint", reason=self.NOBODY)

    def test_late_announcer_is_found(self):
        self.start_announcer()
        self.seeker.wait_for(event="endpoint", state="connected")
        self.seeker.wait_for(event="ready")

    def test_withdrawn_announcement_is_gone_with_its_socket(self):
        announcer = self.start_announcer()
        self.seeker.wait_for(event="ready")
        announcer.send(signal.SIGINT)
        self.wait_for_loss()
        announcer.end()
        self.assertEqual(self.left_in_runtime_directory(), [])

    def test_killed_announcer_is_not_found_and_its_return_is(self):
        announcer = self.start_announcer()
        self.seeker.wait_for(event="ready")
        announcer.send(signal.SIGKILL)
        self.assertEqual(announcer.end(), -signal.SIGKILL)
        self.wait_for_loss()
        self.assertEqual(self.left_in_runtime_directory(), [], "the dead announcement misleads")

        self.start_announcer()
        self.seeker.wait_for(event="endpoint", state="connected")
        self.seeker.wait_for(event="remote", interface="Clock", state="available")

    def test_announcement_of_a_dead_process_misleads_nobody(self):
        self.seeker.send(signal.SIGKILL)
        self.seeker.end()
        announcer = self.start_announcer()
        announcer.send(signal.SIGKILL)
        announcer.end()
        self.assertEqual(len(self.left_in_runtime_directory()), 2, "a killed process leaves its files")
        seeker = self.start(legacy("second", connect=[NAME]), "--timeout", "0")
        seeker.wait_for(event="endpoint", state="connecting", reason=self.NOBODY)
        self.assertEqual(self.left_in_runtime_directory(), [])

    def test_another_announcer_takes_over_from_a_killed_one(self):
        first = self.start_announcer()
        self.seeker.wait_for(event="ready")
        second = self.start(legacy("another", bind=[NAME], interfaces=["Clock"]))
        second.wait_for(event="ready")
        first.send(signal.SIGKILL)
        first.end()
        self.seeker.wait_for(event="remote", interface="Clock", state="gone")
        self.seeker.wait_for(event="remote", interface="Clock", state="available", peer=self.peer_of(second))

    def peer_of(self, agent):
        return f"{socket.gethostname()}/{agent.pid}"


if __name__ == "__main__":
    unittest.main()

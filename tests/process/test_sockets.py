"""What the sockets of agents tell is true, with real processes: files, peers that come and go, peers that misbehave."""

import os
import signal
import socket
import stat
import unittest

import peers
from support import FAILED, AgentTest, configuration, free_port

SERVER = configuration("server", bind=["unix:meeting"], interfaces=["Clock"])
CLIENT = configuration("client", connect=["unix:meeting"])


class SocketTest(AgentTest):
    @property
    def meeting(self):
        return self.directory / "meeting"

    def start_ready(self, content, *options):
        agent = self.start(content, *options)
        agent.wait_for(event="ready")
        return agent

    def kill(self, agent):
        agent.send(signal.SIGKILL)
        self.assertEqual(agent.end(), -signal.SIGKILL)


class Files(SocketTest):
    """Sockets' files: their user's alone, in place of dead ones, never of live ones, and gone when withdrawn."""

    def test_mode_is_0600_whatever_the_umask(self):
        previous = os.umask(0)
        self.addCleanup(os.umask, previous)
        self.start_ready(SERVER)
        self.assertEqual(stat.S_IMODE(self.meeting.stat().st_mode), 0o600)

    def test_file_of_a_killed_agent_is_replaced(self):
        self.kill(self.start_ready(SERVER))
        self.assertTrue(self.meeting.is_socket(), "a killed process leaves its file")
        self.start_ready(SERVER)
        peers.connect(self.meeting).close()

    def test_file_of_a_living_agent_is_left_to_it(self):
        self.start_ready(SERVER)
        second = self.start(configuration("second", bind=["unix:meeting"]))
        self.assertIn("unix:meeting: Address already in use", second.wait_for(event="failure")["text"])
        self.assertEqual(second.end(), FAILED)
        self.start_ready(CLIENT, "--expect", "Clock")

    def test_of_agents_that_start_at_once_over_a_dead_file_one_gets_it_and_keeps_it(self):
        with peers.listening(self.meeting):
            pass
        starters = [self.start(configuration(f"starter{i}", bind=["unix:meeting"])) for i in range(3)]
        ready = []
        for starter in starters:
            if self.outcome(starter) == "bound":
                ready.append(starter)
            else:
                self.assertEqual(starter.end(), FAILED)
        self.assertEqual(len(ready), 1)
        with peers.connect(self.meeting) as peer:
            peer.sendall(peers.frame(peers.HELLO))
            self.assertEqual(peers.read_frame(peer)["agent"].split("/")[-1], str(ready[0].pid))

    def outcome(self, starter):
        while True:
            state = starter.wait_for(event="endpoint")["state"]
            if state in ("bound", "failed"):
                return state

    def test_file_is_gone_after_withdrawal(self):
        agent = self.start_ready(SERVER)
        agent.send(signal.SIGINT)
        agent.wait_for(event="services", state="unpublished")
        self.assertFalse(self.meeting.exists())
        agent.end()

    def test_file_that_another_process_put_there_meanwhile_stays_after_withdrawal(self):
        agent = self.start_ready(SERVER)
        self.meeting.unlink()
        with peers.listening(self.meeting):
            agent.send(signal.SIGINT)
            agent.wait_for(event="withdrawn")
            agent.end()
            self.assertTrue(self.meeting.is_socket())


class Ports(SocketTest):
    def test_port_of_another_agent_is_a_failure_that_names_it_and_leaves_that_agent_alone(self):
        endpoint = f"tcp:127.0.0.1:{free_port()}"
        self.start_ready(configuration("first", bind=[endpoint], interfaces=["Clock"]))
        second = self.start(configuration("second", bind=[endpoint]))
        failure = second.wait_for(event="failure")["text"]
        self.assertIn(f'publisher "p": cannot bind {endpoint}: Address already in use', failure)
        self.assertEqual(second.end(), FAILED)
        self.start_ready(configuration("client", connect=[endpoint]), "--expect", "Clock")

    def test_host_that_nobody_knows_is_waited_for_with_that_reason(self):
        agent = self.start(configuration("c", connect=["tcp:host.invalid:1"]), "--timeout", "0")
        state = agent.wait_for(event="endpoint", state="connecting")
        while not state["reason"]:
            state = agent.wait_for(event="endpoint", state="connecting")
        self.assertIn('no such host "host.invalid"', state["reason"])


class Handshakes(SocketTest):
    """A server that merely accepts is not a peer: nothing is connected until it has answered the handshake."""

    def start_client(self):
        return self.start(CLIENT, "--timeout", "0")

    def check_never_connected(self, client):
        states = [progress["state"] for progress in client.seen if progress.get("event") == "endpoint"]
        self.assertNotIn("connected", states)

    def test_server_that_never_answers(self):
        with peers.listening(self.meeting) as server:
            client = self.start_client()
            silent, _ = server.accept()
            with silent:
                client.wait_for(event="endpoint", reason="waits for the peer to answer the handshake")
                client.wait_for(event="endpoint", reason="no answer to the handshake in 5 seconds")
                self.check_never_connected(client)

    def test_server_that_answers_garbage(self):
        with peers.listening(self.meeting) as server:
            client = self.start_client()
            talker, _ = server.accept()
            with talker:
                talker.sendall(b"HTTP/1.1 400 Bad Request\r\n")
                reason = f"the peer sent a frame of {int.from_bytes(b'HTTP', 'big')} bytes, allowed are 1 to 1048576"
                client.wait_for(event="endpoint", reason=reason)
                self.check_never_connected(client)

    def test_server_that_closes(self):
        with peers.listening(self.meeting) as server:
            client = self.start_client()
            closer, _ = server.accept()
            peers.read_frame(closer)
            closer.close()
            client.wait_for(event="endpoint", state="connecting", reason="connection closed by the peer")
            self.check_never_connected(client)
            again, _ = server.accept()
            again.close()

    def test_server_that_answers(self):
        with peers.listening(self.meeting) as server:
            client = self.start_client()
            answerer, _ = server.accept()
            with answerer:
                self.assertEqual(peers.read_frame(answerer)["type"], "hello")
                answerer.sendall(peers.frame(peers.HELLO))
                client.wait_for(event="endpoint", state="connected", reason="peer raw")
                client.wait_for(event="ready")


class ComingAndGoing(SocketTest):
    """Two and three agents: who is lost, is seen as lost, is waited for, and comes back."""

    def check_sees_loss_and_return(self, *clients, server):
        self.kill(server)
        for client in clients:
            client.wait_for(event="remote", interface="Clock", state="gone")
            client.wait_for(event="endpoint", state="connecting", reason="Connection refused")
            states = [progress["state"] for progress in client.seen if progress.get("event") == "endpoint"]
            after = states[states.index("connected") :]
            self.assertEqual(after[:3], ["connected", "lost", "connecting"])
        self.start_ready(SERVER)
        for client in clients:
            client.wait_for(event="endpoint", state="connected")
            client.wait_for(event="remote", interface="Clock", state="available")

    def test_killed_peer_and_its_return(self):
        server = self.start_ready(SERVER)
        client = self.start_ready(CLIENT, "--expect", "Clock")
        self.check_sees_loss_and_return(client, server=server)

    def test_peer_of_two_is_killed_and_returns(self):
        server = self.start_ready(SERVER)
        one = self.start_ready({**CLIENT, "configurationID": "one"}, "--expect", "Clock")
        two = self.start_ready({**CLIENT, "configurationID": "two"}, "--expect", "Clock")
        self.check_sees_loss_and_return(one, two, server=server)

    def test_one_of_two_peers_is_killed_and_the_other_goes_on(self):
        server = self.start_ready(configuration("server", bind=["unix:meeting"]))
        clients = {}
        for name in ("killed", "other"):
            clients[name] = self.start_ready(configuration(name, connect=["unix:meeting"], interfaces=[name]))
            server.wait_for(event="remote", interface=name, state="available")
        self.kill(clients["killed"])
        server.wait_for(event="remote", interface="killed", state="gone")
        clients["other"].send(signal.SIGINT)
        clients["other"].wait_for(event="withdrawn")
        self.assertNotIn("lost", [progress.get("state") for progress in clients["other"].seen])

    def test_peer_that_is_back_before_its_first_connection_is_lost_stays_seen(self):
        server = self.start_ready(configuration("server", bind=["unix:meeting"]))
        first, second = (self.enterContext(peers.connect(self.meeting)) for _ in range(2))
        peers.send(first, peers.frame(peers.HELLO) + peers.offers("Clock"))
        peers.send(second, peers.frame(peers.HELLO) + peers.offers("Clock", "Door"))
        for interface in ("Clock", "Door"):  # then both connections have brought the clock
            server.wait_for(event="remote", interface=interface, state="available")
        first.shutdown(socket.SHUT_WR)
        self.assertTrue(peers.is_closed(first))
        peers.send(second, peers.offers("Clock", "Door", "Lamp"))
        server.wait_for(event="remote", interface="Lamp", state="available")
        self.assertNotIn("gone", [progress.get("state") for progress in server.seen])
        second.close()
        server.wait_for(event="remote", interface="Clock", state="gone")

    def test_late_peer(self):
        client = self.start(CLIENT, "--expect", "Clock")
        client.wait_for(event="endpoint", state="connecting", reason="No such file or directory")
        self.start_ready(SERVER)
        client.wait_for(event="ready")


class Filters(SocketTest):
    """Interfaces reach a peer as the filters of both sides say, and carry their required properties."""

    def check_only_lamp_is_seen(self, exportFilter="", importFilter=""):
        server = configuration("server", bind=["unix:meeting"], interfaces=["Clock", "Lamp"])
        server["serviceInterfaces"][1]["requiredRuntimeProperties"] = {"room": "kitchen"}
        server["servicePublishers"][0]["exportFilter"] = exportFilter
        client = configuration("client", connect=["unix:meeting"])
        client["servicePublishers"][0]["importFilter"] = importFilter
        self.start_ready(server)
        agent = self.start_ready(client, "--expect", "Lamp", "--once")
        agent.end()
        # Services appear in the order of their IDs: the clock would have been seen before the lamp.
        seen = {progress["interface"] for progress in agent.seen if progress.get("event") == "remote"}
        self.assertEqual(seen, {"Lamp"})

    def test_export_filter(self):
        self.check_only_lamp_is_seen(exportFilter="(room=kitchen)")

    def test_import_filter(self):
        self.check_only_lamp_is_seen(importFilter="(&(room=kitchen)(publisher=p))")

    def test_import_filter_that_negates(self):
        self.check_only_lamp_is_seen(importFilter="(!(interface=Clock))")


class Misbehaviour(SocketTest):
    """Whatever a peer sends, it alone loses its connection."""

    MALFORMED = [
        b"\0\0\0\0",
        b"\xff\xff\xff\xff" + b"x" * 4096,
        peers.frame(b"[" * 100_000),
        peers.frame({"type": "goodbye"}),
        peers.frame({"type": "offers", "interfaces": []}),
        peers.frame({**peers.HELLO, "protocol": 2}),
        peers.frame(peers.HELLO) * 2,
        peers.frame(peers.HELLO) + peers.frame({"type": "offers", "interfaces": [7]}),
    ]

    def setUp(self):
        super().setUp()
        self.server = self.start_ready(SERVER)
        self.client = self.start_ready(CLIENT, "--expect", "Clock")

    def check_undisturbed(self):
        """A newcomer is served, and the client has seen nothing but its own end when it is asked to leave."""
        self.start_ready({**CLIENT, "configurationID": "newcomer"}, "--expect", "Clock", "--once").end()
        for agent in (self.client, self.server):
            agent.send(signal.SIGTERM)
            self.assertEqual(agent.end(), 128 + signal.SIGTERM)
            self.assertEqual(agent.texts("failure"), [])
            self.assertNotIn("lost", [progress.get("state") for progress in agent.seen])

    def test_flood_of_malformed_frames(self):
        for _ in range(25):
            for content in self.MALFORMED:
                with peers.connect(self.meeting) as peer:
                    peers.send(peer, content)
                    self.assertTrue(peers.is_closed(peer), content[:40])
        self.check_undisturbed()

    def test_peers_that_say_nothing_are_closed_and_hold_up_nobody(self):
        idle = [peers.connect(self.meeting) for _ in range(100)]
        for peer in idle:
            self.addCleanup(peer.close)
        self.start_ready({**CLIENT, "configurationID": "meanwhile"}, "--expect", "Clock", "--once").end()
        for peer in idle:
            self.assertTrue(peers.is_closed(peer))
        self.check_undisturbed()

    def test_process_that_takes_half_of_the_places_gets_no_more_and_keeps_nobody_out(self):
        for _ in range(128):
            peer = self.greeting_peer()
            peers.read_frame(peer)
        self.assertTrue(peers.is_closed(self.greeting_peer()))
        self.check_undisturbed()

    def greeting_peer(self):
        peer = peers.connect(self.meeting)
        self.addCleanup(peer.close)
        peers.send(peer, peers.frame(peers.HELLO))
        return peer

    def test_peer_that_never_reads_holds_up_nobody(self):
        with peers.connect(self.meeting) as peer:
            peer.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1)
            peer.sendall(peers.frame(peers.HELLO))
            self.check_undisturbed()


if __name__ == "__main__":
    unittest.main()

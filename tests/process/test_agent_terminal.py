"""What a person sees on a terminal: the table, redrawn in place on a screen of any size."""

import signal

from support import AGENT, AgentTest, configuration
from terminal import Terminal

CONTROL_C = b"\x03"


def has(text):
    return lambda rows: any(text in row for row in rows)


def cells(row):
    return row.split()


class TerminalTest(AgentTest):
    def start_on_terminal(self, content, *options, **terminal):
        name = self.write("c.json", content)
        command = [AGENT, "run", name, "--runtime-directory", "runtime", *options]
        screen = Terminal(command, self.directory, **terminal)
        self.addCleanup(screen.dispose)
        return screen

    def table(self, rows):
        """The rows of the table; fails unless there is exactly one."""
        headings = [index for index, row in enumerate(rows) if row.lstrip().startswith("PUBL")]
        self.assertEqual(len(headings), 1, "\n".join(rows))
        return rows[headings[0]:]


WAITING = configuration("c", bind=["unix:mine"], connect=["unix:nobody"])


class Table(TerminalTest):
    def test_shows_publisher_endpoint_state_since_when_and_reason(self):
        screen = self.start_on_terminal(WAITING)
        rows = screen.wait_until(lambda rows: has("No such file")(rows) and has("published")(rows))
        table = self.table(rows)
        self.assertEqual(cells(table[0]), ["PUBLISHER", "ENDPOINT", "STATE", "SINCE"])
        self.assertRegex(table[1], r"^p +unix:mine +bound +\d+s$")
        self.assertRegex(table[2], r"^p +unix:nobody +connecting +\d+s +No such file or directory$")
        self.assertRegex(table[3], r"^p +\(services\) +published$")

    def test_is_redrawn_in_place_while_time_passes_and_things_change(self):
        screen = self.start_on_terminal(WAITING)
        screen.wait_until(has("connecting  2s"))
        late = self.start(configuration("late", bind=["unix:nobody"]))
        late.wait_for(event="ready")
        rows = screen.wait_until(has("configuration c is ready"))
        table = self.table(rows)
        self.assertRegex(table[2], r"^p +unix:nobody +connected ")
        self.assertEqual(len(table), 4)

    def test_control_c_withdraws_and_leaves_the_last_table_and_the_status(self):
        screen = self.start_on_terminal(configuration("c", bind=["unix:mine"]))
        screen.wait_until(has("is ready"))
        screen.press(CONTROL_C)
        self.assertEqual(screen.end(), 128 + signal.SIGINT)
        rows = screen.rows()
        self.assertTrue(has("SIGINT: withdrawing; a second signal leaves at once")(rows), rows)
        self.assertTrue(has("ended with status 130")(rows), rows)
        self.assertRegex(self.table(rows)[1], r"^p +unix:mine +closed$")

    def test_results_are_lines_of_their_own_above_the_table(self):
        screen = self.start_on_terminal(configuration("c", bind=["unix:mine"]), "--once")
        self.assertEqual(screen.end(), 0)
        rows = screen.rows()
        self.assertIn("ready c", rows)
        self.assertIn("withdrawn c", rows)

    def test_a_hung_up_terminal_withdraws(self):
        screen = self.start_on_terminal(configuration("c", bind=["unix:mine"]))
        screen.wait_until(has("is ready"))
        screen.hang_up()
        self.assertEqual(screen.process.wait(timeout=30), 128 + signal.SIGHUP)
        self.assertFalse((self.directory / "mine").exists())


class Sizes(TerminalTest):
    def test_a_narrow_window_shortens_and_keeps_the_states(self):
        screen = self.start_on_terminal(WAITING, columns=30)
        rows = screen.wait_until(lambda rows: has("published")(rows) and has("bound")(rows))
        table = self.table(rows)
        self.assertEqual(len(table), 4, "no row is wrapped")
        self.assertIn("connecti", table[2])
        self.assertTrue(all(len(row) < 30 for row in table), table)

    def test_characters_of_two_columns_are_counted_as_such(self):
        content = configuration("c", bind=["unix:mine"])
        content["servicePublishers"][0]["uniqueID"] = "\u63a5\u7d9a" * 5
        screen = self.start_on_terminal(content, columns=30)
        table = self.table(screen.wait_until(lambda rows: has("published")(rows) and has("bound")(rows)))
        self.assertEqual(len(table), 3, "no row is wrapped")

    def test_a_low_window_shows_what_is_not_there_yet(self):
        endpoints = [f"unix:mine-{index}" for index in range(20)]
        screen = self.start_on_terminal(configuration("c", bind=endpoints, connect=["unix:nobody"]), rows=8)
        rows = screen.wait_until(lambda rows: has("more")(rows) and has("No such file")(rows))
        self.assertRegex(rows[-1], r"^\.\.\. and \d+ more$")

    def check_narrower(self, wrap):
        screen = self.start_on_terminal(WAITING)
        screen.wait_until(has("No such file or directory"))
        screen.resize(34, 24, wrap)
        rows = screen.wait_until(lambda rows: has("connecting")(rows) and not has("No such file or dir")(rows))
        table = self.table(rows)
        self.assertEqual(len(table), 4, "\n".join(rows))
        self.assertTrue(has("publishing configuration c")(rows), "what was said before is still there")

    def test_narrower_leaves_one_table_that_fits(self):
        self.check_narrower(wrap=False)

    def test_narrower_leaves_one_table_that_fits_on_terminals_that_wrap(self):
        self.check_narrower(wrap=True)

    def test_narrower_keeps_the_results(self):
        screen = self.start_on_terminal(configuration("c", bind=["unix:mine"]))
        screen.wait_until(has("configuration c is ready"))
        screen.wait_until(lambda rows: "ready c" in rows)
        screen.resize(34, 24)
        rows = screen.wait_until(lambda rows: has("~")(rows) and "ready c" in rows)
        self.table(rows)

    def test_wider_shows_the_reasons_again(self):
        screen = self.start_on_terminal(WAITING, columns=34)
        screen.wait_until(has("connecting"))
        screen.resize(100, 24)
        rows = screen.wait_until(has("No such file or directory"))
        self.assertEqual(len(self.table(rows)), 4)

    def test_lower_and_higher_again_leave_one_table(self):
        screen = self.start_on_terminal(WAITING)
        screen.wait_until(has("No such file or directory"))
        screen.resize(80, 4)
        screen.wait_until(has("more"))
        screen.resize(80, 24)
        rows = screen.wait_until(lambda rows: has("published")(rows) and not has("more")(rows))
        self.assertEqual(len(self.table(rows)), 4)

    def test_a_window_of_one_column_and_row_does_no_harm(self):
        screen = self.start_on_terminal(configuration("c", bind=["unix:mine"]), "--once", columns=1, rows=1)
        self.assertEqual(screen.end(), 0)


class Terminals(TerminalTest):
    def test_colours_tell_states_apart(self):
        screen = self.start_on_terminal(WAITING, environment={"NO_COLOR": None})
        screen.wait_until(lambda rows: has("No such file")(rows) and has("bound")(rows))
        self.assertLessEqual({"green", "brown"}, screen.colours())

    def test_no_color_is_a_table_without_colours(self):
        screen = self.start_on_terminal(WAITING, environment={"NO_COLOR": "1"})
        rows = screen.wait_until(has("No such file"))
        self.table(rows)
        self.assertEqual(screen.colours(), {"default"})

    def test_a_dumb_terminal_gets_plain_lines(self):
        screen = self.start_on_terminal(configuration("c", bind=["unix:mine"]), "--once", environment={"TERM": "dumb"})
        self.assertEqual(screen.end(), 0)
        self.assertNotIn(b"\x1b", screen.received())
        self.assertIn(b"unix:mine: bound", screen.received())

    def test_plain_can_be_chosen_on_any_terminal(self):
        screen = self.start_on_terminal(configuration("c", bind=["unix:mine"]), "--once", "--progress", "plain")
        self.assertEqual(screen.end(), 0)
        self.assertNotIn(b"\x1b", screen.received())

    def test_a_table_can_be_chosen_without_a_terminal(self):
        name = self.write("c.json", configuration("c", bind=["unix:mine"]))
        agent = self.start_with("run", name, "--runtime-directory", "runtime", "--once", "--progress", "tty")
        self.assertEqual(agent.end(), 0)
        self.assertTrue(any("PUBLISHER" in line for line in agent.complaints))

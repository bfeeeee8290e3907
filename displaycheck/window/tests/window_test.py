"""The pane in its window: on a screen of its own, with a real pointer.

Usage: window_test.py DISPLAYCHECK EXAMPLES STRING_TABLES [TEST...]
"""

import os
import pathlib
import re
import subprocess
import sys
import shutil
import tempfile
import threading
import time
import unittest

if not shutil.which("Xvfb") or not shutil.which("xdotool"):
    print("The window is not tested: Xvfb or xdotool is missing (make window-packages)")
    sys.exit(77)
try:
    from PIL import Image, ImageDraw, ImageGrab
except ImportError:
    print(f"The window is not tested: {sys.executable} has no PIL (make window-packages)")
    sys.exit(77)

import picture

displaycheck, examples, tables = (pathlib.Path(argument) for argument in sys.argv[1:4])
kept_pictures = pathlib.Path(__file__).parent / "pictures"
SCREEN = None  # of the X server

WITHOUT_BLANKS = {"ja", "ko", "zh-Hans", "zh-Hant"}  # or with letters as wide apart
PATIENCE = 20  # seconds that anything may take


def setUpModule():
    global SCREEN, server
    reading, writing = os.pipe()
    server = subprocess.Popen(
        ["Xvfb", "-displayfd", str(writing), "-screen", "0", "1000x800x24", "-nolisten", "tcp",
         "-noreset"],
        pass_fds=[writing], stderr=subprocess.DEVNULL)
    os.close(writing)
    with os.fdopen(reading) as number:
        SCREEN = ":" + number.readline().strip()


def tearDownModule():
    server.terminate()
    server.wait()


def environment(**more):
    return {**os.environ, "DISPLAY": SCREEN, **more}


def example(name):
    return examples / (name + ".yaml")


def screenshot(name, language="en", **variables):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "window.png"
        subprocess.run([displaycheck, "window", "--lang", language, "--screenshot", path,
                        example(name)], env=environment(**variables), check=True,
                       stdout=subprocess.DEVNULL, timeout=PATIENCE)
        return Image.open(path).convert("RGB")


def table(language):
    text = (tables / (language + ".lproj") / "Localizable.strings").read_text()
    return dict(re.findall(r'^"(.*)" = "(.*)";$', text, re.MULTILINE))


def flat(lines):
    return [word for line in lines for word in line]


class KeptPictures(unittest.TestCase):
    """The window shows what it used to, whatever fonts there are."""

    def assertShowsTheSame(self, one, other):
        seen, expected = picture.facts(one), picture.facts(other)
        # A line may break elsewhere in another font.
        seen["box"], expected["box"] = flat(seen["box"]), flat(expected["box"])
        self.assertEqual(seen, expected)

    def kept(self, name):
        return Image.open(kept_pictures / (name + ".png")).convert("RGB")

    def test_a_warning(self):
        self.assertShowsTheSame(screenshot("intel-nothing-connected"), self.kept("warning-en"))

    def test_a_warning_in_german(self):
        self.assertShowsTheSame(screenshot("intel-nothing-connected", "de"),
                                self.kept("warning-de"))

    def test_no_warning(self):
        self.assertShowsTheSame(screenshot("apple-listed-answers"), self.kept("no-warning-en"))

    def test_another_font_shows_the_same(self):
        other = screenshot("intel-nothing-connected", DISPLAYCHECK_FONT="NotoSansCJKjp")
        self.assertNotEqual(other.tobytes(), self.kept("warning-en").tobytes())
        self.assertShowsTheSame(other, self.kept("warning-en"))

    def test_a_missing_word_is_noticed(self):
        kept = self.kept("warning-en")
        damaged = kept.copy()
        word = picture.word_places(kept, picture.BOX)[1][2]
        ImageDraw.Draw(damaged).rectangle(word, fill="white")
        with self.assertRaises(AssertionError):
            self.assertShowsTheSame(damaged, kept)

    def test_a_link_that_looks_like_text_is_noticed(self):
        kept = self.kept("warning-en")
        grey = kept.copy()
        left, upper, right, lower = picture.BOX
        grey.paste(kept.crop(picture.BOX).convert("L").convert("RGB"), (left, upper))
        with self.assertRaises(AssertionError):
            self.assertShowsTheSame(grey, kept)


class Languages(unittest.TestCase):
    """Every word of every language is there, and the link is the link word."""

    def test_every_language(self):
        for folder in sorted(tables.glob("*.lproj")):
            language = folder.stem
            with self.subTest(language):
                self.check(language, table(language))

    def check(self, language, texts):
        shown = picture.facts(screenshot("intel-nothing-connected", language))
        box = flat(shown["box"])
        if language in WITHOUT_BLANKS:
            self.assertIn(True, box)
            self.assertGreater(len(shown["box"]), 3)
            return
        before = " ".join([texts["TITLE"], texts["NO_CAMERA_AND_DISPLAY_WARNING"],
                           texts["Please connect a supported Vorn monitor or camera"]])
        click = texts["Click here for the compatible models."]
        behind = before.split() + click[:click.index(texts["here"])].split()
        self.assertEqual(len(box), len((before + " " + click).split()))
        links = [at for at, is_link in enumerate(box) if is_link]
        words_of_link = len(texts["here"].split())
        self.assertEqual(links, list(range(len(behind), len(behind) + words_of_link)))
        self.assertEqual(shown["heading"], [len(texts["PaneTitle"].split())])


class Window:
    """The program with its window open."""

    def __init__(self, name, speed):
        """`name` is an example's, or the path of a Mac file."""
        self.lines = []
        self.program = subprocess.Popen(
            [displaycheck, "window", "--lang", "en", "--speed", str(speed),
             name if isinstance(name, pathlib.Path) else example(name)],
            env=environment(), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.reader = threading.Thread(target=lambda: self.lines.extend(self.program.stdout))
        self.reader.start()
        self.left, self.upper = self.wait("the window", self.place)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.program.terminate()
        self.program.wait()
        self.reader.join()
        self.program.stdout.close()
        self.program.stderr.close()

    def end(self):
        """Ends the program as closing the window does; its exit status and what it complains of."""
        self.program.terminate()
        return self.program.wait(PATIENCE), self.program.stderr.read()

    def place(self):
        answer = self.xdotool("search", "--onlyvisible", "--name", "Vorn Display Manager",
                              "getwindowgeometry")
        found = re.search(r"Position: (\d+),(\d+)", answer)
        return found and (int(found[1]), int(found[2]))

    def xdotool(self, *words):
        return subprocess.run(["xdotool", *words], env=environment(), capture_output=True,
                              text=True).stdout

    def wait(self, what, question):
        """The first answer that holds."""
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end:
            answer = question()
            if answer:
                return answer
            time.sleep(0.02)
        raise AssertionError(f"{what}: not within {PATIENCE} s. Printed:\n" + "".join(self.lines))

    def shown(self):
        screen = ImageGrab.grab(xdisplay=SCREEN).convert("RGB")
        return screen.crop((self.left, self.upper, self.left + 648, self.upper + 438))

    def click(self, place):
        left, upper, right, lower = place
        self.xdotool("mousemove", str(self.left + (left + right) // 2),
                     str(self.upper + (upper + lower) // 2), "sleep", "0.1", "mousedown", "1",
                     "sleep", "0.1", "mouseup", "1")

    def wait_for_greyed_continue(self):
        self.wait("Continue greys", lambda: picture.is_greyed(self.shown(), picture.CONTINUE))

    def wait_for_continue(self):
        self.wait("Continue is blue", lambda: picture.is_blue(self.shown(), picture.CONTINUE))

    def wait_for_step(self, step):
        self.wait(f"step {step}", lambda: picture.current_step(self.shown()) == step)

    def wait_for_words(self, count):
        self.wait(f"{count} words", lambda: self.words() == count)

    def words(self):
        return len(flat(picture.words(self.shown(), picture.BOX)))

    def printed(self, text):
        return any(text in line for line in list(self.lines))


TITLE_WORDS = len(table("en")["TITLE"].split())
WARNING = (231, 130, 600, 150)  # a place within the label


class Exceptions(unittest.TestCase):
    """What is thrown is logged and the run finishes, under Objective-C's methods too."""

    def printed(self, fault):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "mac.yaml"
            path.write_text(f"screens: [built-in]\nfaults: [{fault}]\n")
            run = subprocess.run([displaycheck, "window", "--screenshot",
                                  pathlib.Path(folder) / "window.png", path],
                                 env=environment(), capture_output=True, text=True,
                                 timeout=PATIENCE)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        self.assertRegex(run.stdout, r"pane  Continue is enabled\n\Z")
        return run.stdout

    def test_of_cocoa(self):
        for call, name in (("NSTextField.setStringValue", "setStringValue"),
                           ("NSTextField.setAttributedStringValue", "setAttributedStringValue"),
                           ("NSView.addGestureRecognizer", "addGestureRecognizer")):
            with self.subTest(call):
                self.assertIn(f"{name} failed: NSInternalInconsistencyException: made to fail",
                              self.printed(f"{{call: {call}}}"))

    def test_of_memory(self):
        for use in (1, 2, 5, 11, 20, 30):
            for later in ("false", "true"):
                with self.subTest(use=use, later=later):
                    self.assertIn(" failed: std::bad_alloc",
                                  self.printed(f"{{call: operator new, nth: {use}, "
                                               f"and_later: {later}}}"))


class LiveWindow(unittest.TestCase):
    def test_continue_greys_until_the_run_ends_with_its_warning(self):
        with Window("intel-nothing-connected", speed=2) as window:
            window.wait_for_greyed_continue()
            self.assertEqual(window.words(), TITLE_WORDS)
            window.wait_for_continue()
            self.assertGreater(window.words(), TITLE_WORDS)

    def test_a_camera_that_is_attached_later_removes_the_warning(self):
        with Window("intel-camera-later", speed=20) as window:
            window.wait_for_continue()
            self.assertGreater(window.words(), TITLE_WORDS)
            window.wait_for_words(TITLE_WORDS)

    def test_a_click_on_the_warning_opens_the_support_article(self):
        with Window("intel-other-maker", speed=20) as window:
            window.wait("the warning", lambda: window.words() > TITLE_WORDS)
            self.assertEqual(picture.words(window.shown(), picture.FOOT), [])
            window.click(WARNING)
            window.wait("the address", lambda: window.printed("opens https://"))
            window.wait("the note", lambda: picture.words(window.shown(), picture.FOOT))

    def test_without_a_warning_nothing_takes_clicks(self):
        with Window("apple-listed-answers", speed=20) as window:
            window.wait_for_continue()
            window.click(WARNING)
            window.click(picture.GO_BACK)
            window.wait_for_step(0)
            self.assertFalse(window.printed("clicks the warning"))

    def test_go_back_leaves_the_pane_and_continue_enters_it_again(self):
        with Window("intel-nothing-connected", speed=4) as window:
            window.wait_for_continue()
            window.click(picture.GO_BACK)
            window.wait_for_step(0)
            self.assertEqual(window.words(), 0)
            self.assertTrue(picture.is_greyed(window.shown(), picture.GO_BACK))
            window.click(picture.CONTINUE)
            window.wait_for_step(1)
            window.wait_for_greyed_continue()
            window.wait_for_continue()
            entered = [line for line in window.lines if "enters the pane" in line]
            self.assertEqual(len(entered), 2)

    def test_a_view_that_is_released_during_a_run_lets_it_end_quietly(self):
        with Window("intel-view-released", speed=4) as window:
            window.wait("the labels' end",
                        lambda: sum("a label of the pane is gone" in line
                                    for line in list(window.lines)) == 2)
            window.wait_for_continue()
            self.assertEqual(window.words(), 0)
            window.click(WARNING)
            window.click(picture.CONTINUE)
            window.wait_for_step(2)
            self.assertFalse(window.printed("clicks the warning"))

    def test_continue_goes_on_to_the_end(self):
        with Window("apple-listed-answers", speed=20) as window:
            window.wait_for_continue()
            for step in (2, 3):
                window.click(picture.CONTINUE)
                window.wait_for_step(step)
            window.click(picture.CONTINUE)
            self.assertEqual(window.program.wait(PATIENCE), 0)


class ExitStatus(unittest.TestCase):
    """1 when the user can't go on, although nothing is left to wait for."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.mac = pathlib.Path(folder.name) / "mac.yaml"
        self.complaint = (f"displaycheck: {self.mac}: all is quiet, but Continue was not "
                          "enabled\n")

    def describe(self, faults):
        self.mac.write_text(f"screens: [built-in]\nfaults: {faults}\n")

    def test_when_continue_stays_greyed_in_a_picture(self):
        self.describe("[{call: IOMasterPort}]")
        path = self.mac.with_name("window.png")
        run = subprocess.run([displaycheck, "window", "--screenshot", path, self.mac],
                             env=environment(), capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual((run.returncode, run.stderr), (1, self.complaint))
        self.assertTrue(picture.is_greyed(picture.read(path), picture.CONTINUE))

    def test_when_continue_stays_greyed_until_the_window_is_closed(self):
        self.describe("[{call: IOMasterPort}]")
        with Window(self.mac, speed=100) as window:
            window.wait("the failure", lambda: window.printed("IOMasterPort() returned"))
            self.assertEqual(window.end(), (1, self.complaint))

    def test_closing_a_window_that_still_looks_for_devices_is_no_failure(self):
        self.describe("[]")
        with Window(self.mac, speed=0.1) as window:
            window.wait_for_greyed_continue()
            self.assertEqual(window.end(), (0, ""))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])

"""The pane in its window: on a screen of its own, with a real pointer.

Usage: window_test.py DISPLAYCHECK EXAMPLES STRING_TABLES [TEST...]
"""

import os
import pathlib
import re
import signal
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
    from PIL import Image, ImageDraw, ImageFont, ImageGrab
except ImportError:
    print(f"The window is not tested: {sys.executable} has no PIL (make window-packages)")
    sys.exit(77)

import picture

displaycheck, examples, tables = (pathlib.Path(argument) for argument in sys.argv[1:4])
window_tables = pathlib.Path(__file__).parents[1] / "Resources"
kept_pictures = pathlib.Path(__file__).parent / "pictures"
SCREEN = None  # of the X server

WITHOUT_BLANKS = {"ja", "ko", "zh-Hans", "zh-Hant"}  # or with letters as wide apart
PATIENCE = 20  # seconds that anything may take
SUPPORT_ARTICLE = "https://support.vorn.example/articles/compatible-models"


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


def pictured(mac, *options, **variables):
    """The title bar and the window in its picture."""
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "window.png"
        subprocess.run([displaycheck, "window", *options, "--screenshot", path, mac],
                       env=environment(**variables), check=True, stdout=subprocess.DEVNULL,
                       timeout=PATIENCE)
        return picture.read(path)


def screenshot(name, language="en", *options, **variables):
    return pictured(example(name), "--lang", language, *options, **variables)[1]


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
        for facts in (seen, expected):
            facts["warning"] = flat(facts["warning"])
        self.assertEqual(seen, expected)

    def kept(self, name):
        return picture.read(kept_pictures / (name + ".png"))[1]

    def test_a_warning(self):
        self.assertShowsTheSame(screenshot("intel-nothing-connected"), self.kept("warning-en"))

    def test_a_warning_in_german(self):
        self.assertShowsTheSame(screenshot("intel-nothing-connected", "de"),
                                self.kept("warning-de"))

    def test_a_warning_in_the_dark(self):
        self.assertShowsTheSame(screenshot("intel-nothing-connected", "en", "--dark"),
                                self.kept("warning-en-dark"))

    def test_no_warning(self):
        self.assertShowsTheSame(screenshot("apple-listed-answers"), self.kept("no-warning-en"))

    def test_another_font_shows_the_same(self):
        other = screenshot("intel-nothing-connected", DISPLAYCHECK_FONT="NotoSansCJKjp")
        self.assertNotEqual(other.tobytes(), self.kept("warning-en").tobytes())
        self.assertShowsTheSame(other, self.kept("warning-en"))

    def test_a_missing_word_is_noticed(self):
        kept = self.kept("warning-en")
        damaged = kept.copy()
        word = picture.word_places(kept, picture.WARNING)[1][2]
        ImageDraw.Draw(damaged).rectangle(word, fill="white")
        with self.assertRaises(AssertionError):
            self.assertShowsTheSame(damaged, kept)

    def test_a_link_that_looks_like_text_is_noticed(self):
        kept = self.kept("warning-en")
        grey = kept.copy()
        left, upper, right, lower = picture.WARNING
        grey.paste(kept.crop(picture.WARNING).convert("L").convert("RGB"), (left, upper))
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
        bar, window = pictured(example("intel-nothing-connected"), "--lang", language)
        self.check_title_bar(language, bar)
        shown = picture.facts(window)
        warning = flat(shown["warning"])
        if language in WITHOUT_BLANKS:
            self.assertIn(True, warning)
            self.assertGreater(len(shown["warning"]), 2)
            return
        before = (texts["NO_CAMERA_AND_DISPLAY_WARNING"] + " " +
                  texts["Please connect a supported Vorn monitor or camera"])
        click = texts["Click here for the compatible models."]
        behind = before.split() + click[:click.index(texts["here"])].split()
        self.assertEqual(len(warning), len((before + " " + click).split()))
        links = [at for at, is_link in enumerate(warning) if is_link]
        words_of_link = len(texts["here"].split())
        self.assertEqual(links, list(range(len(behind), len(behind) + words_of_link)))
        self.assertEqual(shown["title"], [len(texts["TITLE"].split())])
        self.assertEqual(shown["heading"], [len(texts["PaneTitle"].split())])

    def check_title_bar(self, language, bar):
        table = (window_tables / (language + ".lproj") / "Window.strings").read_text()
        title = re.search('^"Install Vorn Display Manager" = "(.*)";$', table, re.MULTILINE)[1]
        behind_the_buttons = (80, 2, 640, 26)
        icon, *words = picture.word_places(bar, behind_the_buttons)[0]
        self.assertIn(icon[2] - icon[0], range(14, 17))
        green = [red + 40 < green > blue + 20 for red, green, blue in bar.crop(icon).getdata()]
        self.assertGreater(sum(green), 10, "the tick")
        if language not in WITHOUT_BLANKS:
            self.assertEqual(len(words), len(title.split()))

    def test_the_window_has_the_same_texts_in_each(self):
        self.assertEqual({folder.name for folder in window_tables.glob("*.lproj")},
                         {folder.name for folder in tables.glob("*.lproj")})
        keys = {folder.name: set(re.findall('^"(.*)" = ".+";$', (folder / "Window.strings")
                                            .read_text(), re.MULTILINE))
                for folder in window_tables.glob("*.lproj")}
        for folder in keys:
            self.assertEqual(keys[folder], keys["en.lproj"], folder)


def font(style, size):
    path = subprocess.run(["fc-match", "--format=%{file}", f"Inter:style={style}"],
                          capture_output=True, text=True, check=True).stdout
    return ImageFont.truetype(path, size)


class Look(unittest.TestCase):
    """The pane looks as its interface file and its code say."""

    def test_the_heading_is_bold(self):
        shown = screenshot("intel-nothing-connected")
        line = picture.word_places(shown, picture.TITLE, picture.BOLD_INK)[0]
        width = line[-1][2] - line[0][0]
        text = table("en")["TITLE"]
        bold, regular = (font(style, 14).getlength(text) for style in ("Bold", "Regular"))
        self.assertLess(abs(width - bold), abs(width - regular))
        self.assertAlmostEqual(width, bold, delta=4)

    def test_the_link_is_underlined_in_the_systems_blue(self):
        for options, blue in (((), (0, 122, 255)), (("--dark",), (10, 132, 255))):
            shown = screenshot("intel-nothing-connected", "en", *options)
            lines = zip(picture.words(shown, picture.WARNING),
                        picture.word_places(shown, picture.WARNING))
            links = [place for words, places in lines
                     for is_link, place in zip(words, places) if is_link]
            self.assertEqual(len(links), 1)
            self.assertIn(blue, picture.underlines(shown, links[0]))

    def test_the_dark_appearance_is_bright_on_dark_everywhere(self):
        shown = screenshot("intel-nothing-connected", "en", "--dark")
        for place in (picture.HEADING, picture.TITLE, picture.WARNING, picture.NOTE,
                      picture.GO_BACK):
            background = shown.getpixel((place[0] + 12, place[1] + 4))
            self.assertLess(max(background), 110)
            self.assertGreater(picture.contrast(shown, place), 4.5)
        self.assertTrue(picture.is_blue(shown, picture.CONTINUE))

    def test_what_was_opened_can_be_read(self):
        for options in ((), ("--dark",)):
            shown = screenshot("intel-nothing-connected", "en", *options)
            self.assertGreater(picture.contrast(shown, picture.NOTE), 4.5)
            lines = picture.word_places(shown, picture.NOTE)
            heading, *address = [line[-1][2] - line[0][0] for line in lines]
            length = font("Regular", 11).getlength(SUPPORT_ARTICLE)
            self.assertAlmostEqual(sum(address), length, delta=0.08 * length)
            # Above the text is blank, and so is what is beside it.
            self.assertGreater(lines[0][0][1], picture.NOTE[1] + 10)
            for line in lines:
                self.assertGreater(line[0][0], picture.NOTE[0] + 10)
                self.assertLess(line[-1][2], picture.NOTE[2] - 10)


class Window:
    """The program with its window open."""

    def __init__(self, name, speed, **variables):
        """`name` is an example's, or the path of a Mac file."""
        self.lines = []
        self.program = subprocess.Popen(
            [displaycheck, "window", "--lang", "en", "--speed", str(speed),
             name if isinstance(name, pathlib.Path) else example(name)],
            env=environment(**variables), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
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

    def end(self, number=signal.SIGTERM):
        """Ends the program as closing the window does; its exit status and what it complains of."""
        self.program.send_signal(number)
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
        shown = self.shown()
        return len(flat(picture.words(shown, picture.TITLE, picture.BOLD_INK) +
                        picture.words(shown, picture.WARNING)))

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
            self.assertEqual(picture.words(window.shown(), picture.NOTE), [])
            window.click(WARNING)
            window.wait("the address", lambda: window.printed("opens https://"))
            window.wait("the note", lambda: picture.words(window.shown(), picture.NOTE))

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
        self.assertTrue(picture.is_greyed(picture.read(path)[1], picture.CONTINUE))

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


class Signals(unittest.TestCase):
    """They leave nothing in the temporary folder."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def left(self):
        return sorted(path.name for path in self.folder.iterdir())

    def test_that_close_the_window(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number), Window("intel-nothing-connected", speed=1,
                                              TMPDIR=str(self.folder)) as window:
                window.wait_for_greyed_continue()
                self.assertEqual(window.end(number), (0, ""))
                self.assertEqual(self.left(), [])

    def test_that_kill_the_window(self):
        with Window("intel-nothing-connected", speed=1, TMPDIR=str(self.folder)) as window:
            window.wait_for_greyed_continue()
            self.assertEqual(window.end(signal.SIGKILL)[0], -signal.SIGKILL)
        self.assertEqual(self.left(), [])

    def test_that_come_while_the_picture_is_taken(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with tempfile.TemporaryDirectory() as pictures:
                program = subprocess.Popen(
                    [displaycheck, "window", "--screenshot", pathlib.Path(pictures) / "window.png",
                     example("intel-nothing-connected")],
                    env=environment(TMPDIR=str(self.folder)), stdout=subprocess.PIPE, text=True)
                self.assertIn("enters the pane", program.stdout.readline())
                program.send_signal(number)
                program.communicate(timeout=PATIENCE)
                # It may have come to its end before.
                self.assertIn(program.returncode, (0, -number))
                self.assertEqual(self.left(), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[4:])

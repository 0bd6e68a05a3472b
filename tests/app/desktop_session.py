"""The real Tonmill on xvfb-run's display, read over the accessibility bus as a screen reader reads it and
driven by xdotool's key presses as a person without a mouse drives it."""

import os
import shutil
import subprocess
import tempfile
import time

import pyatspi
from gi.repository import GLib

LANGUAGES = ['English', 'Portugues', 'Espanol', 'Francais', 'Deutsch']


def pump(seconds):
    """Lets the accessibility events that have come in reach their listeners."""
    context, end = GLib.MainContext.default(), time.monotonic() + seconds
    while time.monotonic() < end:
        while context.pending():
            context.iteration(False)
        time.sleep(0.02)


def wait_for(what, condition, seconds=120):
    """The condition's first true value; the limit only guards against a hang."""
    deadline = time.monotonic() + seconds
    while not (value := condition()):
        if time.monotonic() > deadline:
            raise AssertionError('gave up waiting for ' + what)
        pump(0.1)
    return value


def keys(*names):
    subprocess.run(['xdotool', 'key', '--delay', '60', *names], check=True)


def xdotool(*arguments):
    return subprocess.run(['xdotool', *arguments], check=True, capture_output=True, text=True).stdout


def walk(accessible):
    """The accessible and what it shows, but the items of lists and menus."""
    yield accessible
    if accessible.getRole() not in (pyatspi.ROLE_LIST, pyatspi.ROLE_TABLE, pyatspi.ROLE_TREE, pyatspi.ROLE_MENU_BAR):
        for child in accessible:
            if child is not None and has(child, pyatspi.STATE_SHOWING):
                yield from walk(child)


def has(accessible, state):
    return accessible.getState().contains(state)


def presented_name(accessible):
    """What a screen reader names a control by: for a list box (named by its item here) its label."""
    if accessible.getRole() == pyatspi.ROLE_COMBO_BOX:
        labels = [relation.getTarget(i).name for relation in accessible.getRelationSet()
                  if relation.getRelationType() == pyatspi.RELATION_LABELLED_BY
                  for i in range(relation.getNTargets()) if relation.getTarget(i).getRole() == pyatspi.ROLE_LABEL]
        if labels:
            return ' '.join(labels)
    return accessible.name


def current_name(accessible):
    """The name as it stands now, which the bus does not always bring up to date."""
    accessible.clear_cache()
    return accessible.name


def text_of(accessible):
    try:
        text = accessible.queryText()
        return text.getText(0, text.characterCount)
    except NotImplementedError:
        return None


def key_binding(accessible):
    """The Alt+letter of a button or menu, as xdotool names it ("alt+f")."""
    action = accessible.queryAction()
    binding = action.getKeyBinding(0) if action.nActions else ''
    return binding.lower() if binding.startswith('Alt+') else None


class Program:
    """One run of the program in an application folder of its own, without first-start questions."""

    def __init__(self, build, language='English', files=(), scale=None):
        self.home = tempfile.mkdtemp(prefix='tonmill-desktop-')
        os.symlink(os.path.join(build, 'Tools'), os.path.join(self.home, 'Tools'))
        stamp = subprocess.run([os.path.join(build, 'tonmill'), '--version'], check=True, capture_output=True,
                               text=True).stdout.split()[-1].replace('.', '')
        settings = {'Version': stamp, 'Interface': stamp, 'ChkUpdates': '0', 'Vista': '0', 'Language': language,
                    'FFMPEG': '/usr/bin/ffmpeg'}
        with open(os.path.join(self.home, 'Tonmill.ini'), 'w', encoding='utf-8') as ini:
            ini.write('[General]\n' + ''.join(f'{key}={value}\n' for key, value in settings.items()))
        environment = dict(os.environ, QT_LINUX_ACCESSIBILITY_ALWAYS_ON='1', QT_QPA_PLATFORM='xcb')
        if scale:
            environment['QT_SCALE_FACTOR'] = str(scale)
        self.process = subprocess.Popen([os.path.join(build, 'tonmill'), '--home', self.home, *files], env=environment)
        self.focus, self.focus_moves = None, 0
        pyatspi.Registry.registerEventListener(self._focus_moved, 'object:state-changed:focused')
        try:
            self.app = wait_for('the program on the accessibility bus', self._find_app)
            self.window = wait_for('the main window', lambda: self.top_level(pyatspi.ROLE_FRAME))
            self.x_window = wait_for('the main window on the display', lambda: subprocess.run(
                ['xdotool', 'search', '--onlyvisible', '--pid', str(self.process.pid)], capture_output=True,
                text=True).stdout.split()[:1])[0]
            self.focus_main_window()
        except BaseException:
            self.close()
            raise

    def _find_app(self):
        if self.process.poll() is not None:
            raise AssertionError(f'the program ended at start-up with status {self.process.returncode}')
        # The desktop's list of programs is kept between calls, and a program that
        # registers while an earlier one goes is not always added to it.
        desktop = pyatspi.Registry.getDesktop(0)
        desktop.clear_cache()
        return next((app for app in desktop if app is not None and app.get_process_id() == self.process.pid), None)

    def focus_main_window(self):
        """What the window manager does when a dialog closes; the virtual display has none."""
        xdotool('windowfocus', '--sync', self.x_window)

    def _focus_moved(self, event):
        if event.detail1:
            self.focus, self.focus_moves = event.source, self.focus_moves + 1

    def top_level(self, role, exclude=()):
        """A window of the program that shows, other than those excluded."""
        left_out = {window.path for window in exclude}
        return next((window for window in self.app if window is not None and window.getRole() == role
                     and has(window, pyatspi.STATE_SHOWING) and window.path not in left_out), None)

    def find(self, role, name):
        return next((a for a in walk(self.window) if a.getRole() == role and presented_name(a) == name), None)

    def menu_bar(self):
        return next(child for child in self.window if child.getRole() == pyatspi.ROLE_MENU_BAR)

    def press_for_focus(self, key):
        """Presses a key that moves the focus, and returns where it went."""
        before = self.focus_moves
        keys(key)
        wait_for('the focus to move', lambda: self.focus_moves > before)
        return self.focus

    def close(self):
        pyatspi.Registry.deregisterEventListener(self._focus_moved, 'object:state-changed:focused')
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait(timeout=60)
        shutil.rmtree(self.home, ignore_errors=True)

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

"""The real program read over AT-SPI as a screen reader reads it, in each of the five languages, at 200 % scale
on a 1920 x 1080 screen: in every form (the main window with each format's options and in batch mode, About,
File Info, Setup and the Equalizer, opened with their keys) every control that takes the focus has a name in
words (a number with a description of what it counts), no two share one, and every control shown lies whole
inside its window and the screen, none over another.
Usage: dbus-run-session -- xvfb-run -a -s "-screen 0 1920x1080x24" python3 tst_accessible_names.py BUILD_DIR"""

import os
import re
import shutil
import subprocess
import sys
import tempfile

import pyatspi

from desktop_session import (LANGUAGES, Program, current_name, has, key_binding, keys, presented_name, text_of, walk,
                             wait_for, xdotool)

SHOWN_ROLES = {pyatspi.ROLE_PUSH_BUTTON, pyatspi.ROLE_CHECK_BOX, pyatspi.ROLE_RADIO_BUTTON, pyatspi.ROLE_TEXT,
               pyatspi.ROLE_COMBO_BOX, pyatspi.ROLE_SLIDER, pyatspi.ROLE_SPIN_BUTTON, pyatspi.ROLE_LABEL,
               pyatspi.ROLE_TREE, pyatspi.ROLE_PANEL}
SCALE = 2


def extents(accessible):
    box = accessible.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    return box.x, box.y, box.x + box.width, box.y + box.height


def inside(inner, outer):
    return all(inner[i] >= outer[i] - 1 for i in (0, 1)) and all(inner[i] <= outer[i] + 1 for i in (2, 3))


def check_form(window, where, failures):
    """Names and room of the controls the form shows now. Qt gives the places
    in its own pixels, so the screen is measured in them too."""
    width, height = map(int, xdotool('getdisplaygeometry').split())
    screen, frame = (0, 0, width / SCALE, height / SCALE), extents(window)
    if not inside(frame, screen):
        failures.append(f'{where}: the window {frame} is not whole on the screen {screen}')
    focusable = []
    for accessible in walk(window):
        if accessible is window or accessible.getRole() not in SHOWN_ROLES:
            continue
        box = extents(accessible)
        if box[2] > box[0] and not inside(box, frame):
            failures.append(f'{where}: {accessible.getRoleName()} "{accessible.name}" {box} is cut off by {frame}')
        if has(accessible, pyatspi.STATE_FOCUSABLE):
            name = presented_name(accessible)
            # Words; or a number ("44100") with a description of what it counts.
            if not re.search(r'[^\W\d_]', name) and not (re.search(r'\d', name) and accessible.description):
                failures.append(f'{where}: a {accessible.getRoleName()} named "{name}" at {box}')
            # The line of an editable list box is part of the list box.
            if not (accessible.parent is not None and accessible.parent.getRole() == pyatspi.ROLE_COMBO_BOX):
                focusable.append((name, accessible.getRoleName(), box))
    said = [name.strip().rstrip(':…. ').casefold() for name, _, _ in focusable]  # case, a colon and dots aside
    for i, (name, role, box) in enumerate(focusable):
        for j, (other, other_role, other_box) in enumerate(focusable[i + 1:], i + 1):
            if name.strip() and said[i] == said[j]:
                failures.append(f'{where}: a {role} and a {other_role} are both named "{name}"')
            if min(box[2], other_box[2]) > max(box[0], other_box[0]) and min(box[3], other_box[3]) > max(box[1], other_box[1]):
                failures.append(f'{where}: "{name}" {box} and "{other}" {other_box} overlap')
    return len(focusable)


def open_form(program, press, menu=None):
    """The form that the key opens, from the menu if given, once it shows."""
    if menu:
        keys(key_binding(menu))
        wait_for('the menu', lambda: has(menu[0], pyatspi.STATE_SHOWING))
    keys(press)
    return wait_for(f'the form of {press}', lambda: program.top_level(pyatspi.ROLE_DIALOG, [program.window]))


def check_language(build, language, source, failures):
    with Program(build, language, files=[source], scale=SCALE) as program:
        main = program.window
        # The start-up height, 7530 twips and the waveform's row (28 pixels
        # and the layout's 3 between rows), in the screen's pixels.
        wanted = SCALE * (7530 // 15 + 28 + 3)
        geometry = xdotool('getwindowgeometry', program.x_window)
        if f'x{wanted}\n' not in geometry:
            failures.append(f'{language}: the window is not {wanted} pixels high: {geometry}')
        fields = wait_for('the source in its field', lambda: next(
            (a for a in walk(main) if a.getRole() == pyatspi.ROLE_TEXT and text_of(a) == source), None))
        file_info = [a for a in fields.parent if a.getRole() == pyatspi.ROLE_PUSH_BUTTON and key_binding(a)][0]
        wait_for('the media report', lambda: has(file_info, pyatspi.STATE_SENSITIVE))
        counted = check_form(main, f'{language} main', failures)

        # Each format's options: the list box reached with Tab, and moved with the arrow keys.
        formats = next(a for a in walk(main) if a.getRole() == pyatspi.ROLE_COMBO_BOX and current_name(a) == 'MP3')
        if not any(program.press_for_focus('Tab').path == formats.path for _ in range(80)):
            failures.append(f'{language}: Tab never reaches the format list')
            return
        keys('Home')
        shown = []
        while len(shown) < 12:
            if shown:
                keys('Down')
            shown.append(wait_for('a format shown', lambda: current_name(formats) not in shown and current_name(formats)))
            counted += check_form(main, f'{language} {shown[-1]}', failures)

        # About (F1), File Info, Setup, closed with Escape; the Equalizer stays.
        tools = list(program.menu_bar())[1]
        items = [(key_binding(item) or '').replace('alt+', '') for item in tools[0] if item.getRole() != pyatspi.ROLE_SEPARATOR]
        for press, menu in [('F1', None), (key_binding(file_info), None), (items[1], tools), (items[2], tools)]:
            form = open_form(program, press, menu)
            counted += check_form(form, f'{language} {form.name}', failures)
            if press != items[2]:
                keys('Escape')
                wait_for('the form to close', lambda: all(window.path != form.path for window in program.app
                                                          if window is not None and has(window, pyatspi.STATE_SHOWING)))
            program.focus_main_window()

        # Batch mode, by the Alt+letter of its option button.
        modes = [a for a in walk(main) if a.getRole() == pyatspi.ROLE_RADIO_BUTTON and key_binding(a)][:2]
        keys(key_binding(modes[1]))
        wait_for('batch mode', lambda: any(a.getRole() == pyatspi.ROLE_TREE for a in walk(main)))
        counted += check_form(main, f'{language} batch', failures)
        print(f'{language}: {counted} controls read in {len(shown) + 6} views')


def main(build):
    work = tempfile.mkdtemp(prefix='tonmill-names-')
    try:
        source = os.path.join(work, 'Morning Song.wav')
        subprocess.run(['sox', '-n', '-r', '44100', '-c', '2', '-b', '16', source, 'synth', '3', 'sine', '440'], check=True)
        failures = []
        for language in LANGUAGES:
            check_language(build, language, source, failures)
        print('\n'.join(failures))
        assert not failures, f'{len(failures)} failures'
    finally:
        shutil.rmtree(work, ignore_errors=True)


if __name__ == '__main__':
    main(os.path.abspath(sys.argv[1]))

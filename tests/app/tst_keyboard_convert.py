"""A whole conversion by key presses alone on the real program: the source typed into the Open dialog (Ctrl+O), the
format list reached with Tab and set by typing, the log shown by Alt+letters, Ctrl+Return converts; the log and
ffprobe say how it went, and a screen reader heard the progress at most once a second and the end last.
Ctrl+Shift+S opens Save As, Ctrl+Q ends the program.
Usage: dbus-run-session -- xvfb-run -a -s "-screen 0 1920x1080x24" python3 tst_keyboard_convert.py BUILD_DIR"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

import pyatspi
from gi.repository import GLib

from desktop_session import Program, current_name, keys, key_binding, presented_name, pump, text_of, wait_for, xdotool

SECONDS = 300


def convert_by_keys(build, work):
    source = os.path.join(work, 'Long Walk.wav')
    subprocess.run(['sox', '-n', '-r', '44100', '-c', '2', '-b', '16', source, 'synth', str(SECONDS), 'sine', '330'], check=True)
    with Program(build) as program:
        told = []  # (kind, what) as a screen reader hears it

        def listen(event):
            try:
                if event.source.getRole() == pyatspi.ROLE_PROGRESS_BAR:
                    told.append(('value', event.source.queryValue().currentValue))
                elif event.source.getRole() == pyatspi.ROLE_LABEL:
                    told.append(('status', event.source.name))
            except GLib.Error:
                pass  # a control of a dialog that has closed since
        pyatspi.Registry.registerEventListener(listen, 'object:property-change:accessible-value',
                                               'object:property-change:accessible-name')

        def dialog(what, press):
            keys(*press)
            wait_for(what, lambda: program.top_level(pyatspi.ROLE_DIALOG) or program.top_level(pyatspi.ROLE_FILE_CHOOSER))

        dialog('the Open dialog', ['ctrl+o'])
        xdotool('type', '--delay', '30', source)
        keys('Return')
        wait_for('the Open dialog to close', lambda: not program.top_level(pyatspi.ROLE_DIALOG))
        program.focus_main_window()
        path = wait_for('the source field', lambda: program.find(pyatspi.ROLE_TEXT, 'File to Convert:'))
        wait_for('the source in its field', lambda: text_of(path) == source)
        info = program.find(pyatspi.ROLE_PUSH_BUTTON, 'File Info')
        wait_for('the media report', lambda: info.getState().contains(pyatspi.STATE_SENSITIVE))

        # Tab from control to control, listening, until the format list has the focus.
        for _ in range(80):
            focused = program.press_for_focus('Tab')
            if focused.getRole() == pyatspi.ROLE_COMBO_BOX and presented_name(focused) == 'Output Format:':
                break
        else:
            raise AssertionError('Tab never reached the output format list')
        keys('F')
        wait_for('FLAC chosen', lambda: current_name(focused) == 'FLAC')
        tools = next(item for item in program.menu_bar() if item.name == 'Tools')
        keys(key_binding(tools))
        show_log = wait_for('the Tools menu', lambda: next((item for item in tools[0] if item.name == 'Show Activity Log'
                                                             and item.getState().contains(pyatspi.STATE_SHOWING)), None))
        keys(key_binding(show_log).replace('alt+', ''))
        log = wait_for('the log shown', lambda: program.find(pyatspi.ROLE_TEXT, 'Activity log'))

        started = time.monotonic()
        del told[:]
        keys('ctrl+Return')
        wait_for('the end of the job in the log', lambda: 'Process Completed!' in text_of(log).split('FLAC')[-1]
                 and ('status', 'Conversion finished') in told, seconds=600)
        elapsed = time.monotonic() - started
        pump(1)
        heard = len(told)
        pump(3)
        assert len(told) == heard, told[heard:]  # the end is told once: nothing follows it
        facts = json.loads(subprocess.run(['ffprobe', '-v', 'error', '-show_entries', 'stream=codec_name,sample_rate,channels',
                                           '-show_entries', 'format=duration', '-of', 'json',
                                           os.path.join(work, 'Long Walk_Konverted.flac')],
                                          check=True, capture_output=True, text=True).stdout)
        stream, duration = facts['streams'][0], float(facts['format']['duration'])
        assert (stream['codec_name'], stream['channels'], stream['sample_rate']) == ('flac', 2, '44100') and abs(duration - SECONDS) < 0.1, facts

        # Once a second at most while it ran, and the end last.
        values = [what for kind, what in told if kind == 'value']
        statuses = [what for kind, what in told if kind == 'status']
        assert 1 <= len(values) <= elapsed + 2, (len(values), elapsed, values)
        # Qt's events carry no name, so a late one reads the name as it is by then.
        assert statuses[-1] == 'Conversion finished' and len(statuses) <= elapsed + 2, (elapsed, statuses)
        print(f'converted {SECONDS} s in {elapsed:.1f} s; told {len(values)} values and {statuses}')

        # Ctrl+Shift+S asks where the output goes; Ctrl+Q ends the program.
        dialog('the Save As dialog', ['ctrl+shift+s'])
        keys('Escape')
        wait_for('the Save As dialog to close', lambda: not program.top_level(pyatspi.ROLE_DIALOG))
        program.focus_main_window()
        keys('ctrl+q')
        assert program.process.wait(timeout=60) == 0


if __name__ == '__main__':
    folder = tempfile.mkdtemp(prefix='tonmill-keyboard-')
    try:
        convert_by_keys(os.path.abspath(sys.argv[1]), folder)
    finally:
        shutil.rmtree(folder, ignore_errors=True)

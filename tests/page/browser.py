"""A headless Chromium, driven over a pipe with the DevTools protocol; Python's standard library is all it needs."""
import base64
import fcntl
import json
import os
import select
import shutil
import struct
import subprocess
import tempfile
import time
import zlib


def find_chromium():
    for name in ('chromium', 'chromium-browser', 'google-chrome', 'chrome'):
        if shutil.which(name):
            return shutil.which(name)
    return None


def starts(program):
    """Whether the browser shows an empty page: not on machines that forbid what it needs."""
    with tempfile.TemporaryDirectory(prefix='trimora-page-') as profile:
        try:
            shown = subprocess.run([program, '--headless=new', '--no-sandbox', '--disable-dev-shm-usage', '--disable-gpu',
                                    f'--user-data-dir={profile}', '--dump-dom', 'about:blank'],
                                   stdin=subprocess.DEVNULL, capture_output=True, timeout=180)
        except subprocess.TimeoutExpired:
            return False
    return shown.returncode == 0 and b'<html>' in shown.stdout


class Browser:
    """One page of one browser. Use it in a `with`; what goes wrong in the page is collected in `faults`."""

    def __init__(self, program, timeout=240, webgl=True):
        self.timeout = timeout
        self.faults = []
        self.requests = []
        self._profile = tempfile.mkdtemp(prefix='trimora-page-')
        to_browser, self._write = (self._high(end) for end in os.pipe())
        self._read, from_browser = (self._high(end) for end in os.pipe())
        drawing = ['--use-gl=angle', '--use-angle=swiftshader', '--enable-unsafe-swiftshader'] if webgl else [
            '--disable-gpu', '--disable-3d-apis', '--disable-software-rasterizer']

        def connect():
            os.dup2(to_browser, 3)
            os.dup2(from_browser, 4)

        self._process = subprocess.Popen(
            [program, '--headless=new', '--no-sandbox', '--disable-dev-shm-usage', '--no-first-run', '--disable-extensions',
             '--disable-background-networking', '--disable-component-update', '--disable-sync', '--hide-scrollbars',
             '--remote-debugging-pipe', f'--user-data-dir={self._profile}', *drawing, 'about:blank'],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            preexec_fn=connect, pass_fds=(3, 4))
        os.close(to_browser)
        os.close(from_browser)
        self._rest, self._messages, self._number, self._session = b'', [], 0, None
        targets = self.call('Target.getTargets')['targetInfos']
        page = next(target for target in targets if target['type'] == 'page')
        self._session = self.call('Target.attachToTarget', targetId=page['targetId'], flatten=True)['sessionId']
        for domain in ('Page', 'Runtime', 'Log', 'Network'):
            self.call(f'{domain}.enable')

    @staticmethod
    def _high(end):
        """The same pipe under a number that 3 and 4 do not collide with."""
        moved = fcntl.fcntl(end, fcntl.F_DUPFD, 20)
        os.close(end)
        return moved

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self._session = None
            self.call('Browser.close')
            self._process.wait(20)
        except (OSError, subprocess.TimeoutExpired, RuntimeError):
            self._process.kill()
            self._process.wait()
        os.close(self._write)
        os.close(self._read)
        shutil.rmtree(self._profile, ignore_errors=True)

    # --- the protocol

    def _receive(self, deadline):
        while b'\0' not in self._rest:
            if not select.select([self._read], [], [], max(0.0, deadline - time.monotonic()))[0]:
                raise RuntimeError('the browser does not answer')
            piece = os.read(self._read, 1 << 20)
            if not piece:
                raise RuntimeError('the browser has ended')
            self._rest += piece
        message, self._rest = self._rest.split(b'\0', 1)
        message = json.loads(message)
        self._note(message)
        return message

    def _note(self, message):
        method, what = message.get('method'), message.get('params', {})
        if method == 'Runtime.exceptionThrown':
            details = what['exceptionDetails']
            self.faults.append(details.get('exception', {}).get('description', details['text']))
        elif method == 'Runtime.consoleAPICalled' and what['type'] in ('error', 'warning', 'assert'):
            self.faults.append(' '.join(str(arg.get('value', arg.get('description'))) for arg in what['args']))
        elif method == 'Log.entryAdded' and what['entry']['level'] in ('error', 'warning'):
            self.faults.append(what['entry']['text'])
        elif method == 'Network.requestWillBeSent':
            self.requests.append(what['request']['url'])

    def call(self, method, **params):
        self._number += 1
        number, message = self._number, {'id': self._number, 'method': method, 'params': params}
        if self._session:
            message['sessionId'] = self._session
        data = json.dumps(message).encode() + b'\0'
        while data:
            data = data[os.write(self._write, data):]
        deadline = time.monotonic() + self.timeout
        while True:
            answer = self._messages.pop(0) if self._messages else self._receive(deadline)
            if answer.get('id') == number:
                if 'error' in answer:
                    raise RuntimeError(f"{method}: {answer['error']['message']}")
                return answer['result']

    # --- what a person does

    def open(self, path, width=1280, height=800, scale=1, dark=False, phone=False):
        self.faults, self.requests = [], []
        self.call('Emulation.setDeviceMetricsOverride', width=width, height=height, deviceScaleFactor=scale, mobile=phone)
        self.call('Emulation.setTouchEmulationEnabled', enabled=phone)
        self.call('Emulation.setEmulatedMedia', features=[
            {'name': 'prefers-color-scheme', 'value': 'dark' if dark else 'light'}])
        self.call('Page.navigate', url='file://' + path)
        self.wait_for('document.readyState === "complete" && window.trimoraPage !== undefined')

    def run(self, expression):
        """The value of an expression in the page."""
        answer = self.call('Runtime.evaluate', expression=expression, returnByValue=True, awaitPromise=True)
        if 'exceptionDetails' in answer:
            details = answer['exceptionDetails']
            raise RuntimeError(f"{expression}: {details.get('exception', {}).get('description', details['text'])}")
        return answer['result'].get('value')

    def wait_for(self, expression):
        deadline = time.monotonic() + self.timeout
        while not self.run(expression):
            if time.monotonic() > deadline:
                raise RuntimeError(f'in vain: {expression}; {self.faults}')
            time.sleep(0.03)

    def mouse(self, kind, x, y, button='none', buttons=0, clicks=0, **more):
        self.call('Input.dispatchMouseEvent', type=kind, x=x, y=y, button=button, buttons=buttons, clickCount=clicks, **more)

    def click(self, x, y):
        self.mouse('mousePressed', x, y, 'left', 1, 1)
        self.mouse('mouseReleased', x, y, 'left', 0, 1)

    def drag(self, start, end, button='left'):
        buttons = {'left': 1, 'right': 2}[button]
        self.mouse('mousePressed', *start, button, buttons, 1)
        for step in range(1, 6):
            self.mouse('mouseMoved', *(a + (b - a) * step / 5 for a, b in zip(start, end)), button, buttons)
        self.mouse('mouseReleased', *end, button, 0, 1)

    def wheel(self, x, y, amount):
        self.mouse('mouseWheel', x, y, deltaX=0, deltaY=amount)

    def touch(self, kind, *points):
        self.call('Input.dispatchTouchEvent', type=kind, touchPoints=[
            {'x': x, 'y': y, 'id': number} for number, (x, y) in enumerate(points)])

    def key(self, key, code=0, shift=False):
        more = {'key': key, 'windowsVirtualKeyCode': code or ord(key.upper()), 'modifiers': 8 if shift else 0}
        if len(key) == 1:
            more['text'] = key
        self.call('Input.dispatchKeyEvent', type='keyDown', **more)
        self.call('Input.dispatchKeyEvent', type='keyUp', **more)

    def screenshot(self):
        """The bytes of a PNG."""
        return base64.b64decode(self.call('Page.captureScreenshot', format='png')['data'])


class Image:
    """Pixels of a PNG with 8 bits a channel, not interlaced: what screenshots are."""

    def __init__(self, png):
        self.width, self.height, depth, kind, *_, interlace = struct.unpack('>IIBBBBB', png[16:29])
        assert depth == 8 and kind in (2, 6) and interlace == 0
        self._channels = 3 if kind == 2 else 4
        packed, at = b'', 8
        while at < len(png):
            size, name = struct.unpack('>I4s', png[at:at + 8])
            packed += png[at + 8:at + 8 + size] if name == b'IDAT' else b''
            at += size + 12
        self._rows = self._unfilter(zlib.decompress(packed))

    def _unfilter(self, data):
        step, stride = self._channels, self._channels * self.width
        above, rows = bytearray(stride), []
        for y in range(self.height):
            begin = y * (stride + 1)
            row = bytearray(data[begin + 1:begin + 1 + stride])
            self._add_prediction(data[begin], row, above, step)
            rows.append(row)
            above = row
        return rows

    @staticmethod
    def _add_prediction(kind, row, above, step):
        if kind == 0:
            return
        for i in range(len(row)):
            left = row[i - step] if i >= step else 0
            corner = above[i - step] if i >= step else 0
            up = above[i]
            if kind == 1:
                guess = left
            elif kind == 2:
                guess = up
            elif kind == 3:
                guess = (left + up) // 2
            else:
                near = left + up - corner
                guess = min((abs(near - left), 0, left), (abs(near - up), 1, up), (abs(near - corner), 2, corner))[2]
            row[i] = (row[i] + guess) & 255

    def at(self, x, y):
        begin = self._channels * int(x)
        return tuple(self._rows[int(y)][begin:begin + 3])

    def count(self, matches, box=None):
        """Pixels in left, top, right, bottom of which `matches((r, g, b))` holds."""
        left, top, right, bottom = (int(side) for side in box or (0, 0, self.width, self.height))
        return sum(matches(self.at(x, y)) for y in range(max(top, 0), min(bottom, self.height))
                   for x in range(max(left, 0), min(right, self.width)))

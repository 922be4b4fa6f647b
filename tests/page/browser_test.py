#!/usr/bin/env python3
"""browser_test.py PROGRAM: looks at the pages that PROGRAM (makePages.cpp) writes, in a headless Chromium with a software
rasteriser: what is drawn, lit, picked and listed, that nothing is fetched, and that nothing hostile runs."""
import base64
import os
import re
import struct
import subprocess
import sys
import tempfile
import unittest

from browser import Browser, Image, find_chromium, starts

WIDTH, HEIGHT = 900, 600
GROUND, DARK_GROUND = (237, 240, 243), (15, 18, 22)
FATAL, SEVERE, MODERATE, SLIGHT = (156, 31, 124), (207, 63, 10), (201, 130, 0), (11, 120, 192)
HOSTILE = ('</script><script>window.isBroken = true</script><img src=x onerror=\'isBroken=true\'>&lt;"\' \u2028 {{data}} '
           '\\u003c')
NON_FINITE, WINDING, NON_MANIFOLD, HOLES, NEEDLES, DUST, UNUSED, WITHOUT_PLACES = range(8)


def like(color, within=14):
    return lambda pixel: all(abs(a - b) <= within for a, b in zip(pixel, color))


def is_back(pixel):
    """Of the tint of triangles' backs, however it is lit."""
    return pixel[2] > 1.22 * pixel[0] and pixel[2] > 1.15 * pixel[1]


class PageTest(unittest.TestCase):
    browser, pages = None, None

    def open(self, name, **how):
        self.path = f'{self.pages}/{name}.html'
        self.browser.open(self.path, **{'width': WIDTH, 'height': HEIGHT, **how})

    def state(self):
        return self.browser.run('trimoraPage.state()')

    def choose(self, *what):
        self.browser.run(f'trimoraPage.choose({", ".join(map(str, what))}); trimoraPage.settle()')

    def image(self):
        self.browser.run('trimoraPage.settle()')
        self.browser.run('new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => done(true))))')
        return Image(self.browser.screenshot())

    def box(self, selector):
        return self.browser.run(f'(box => [box.left, box.top, box.right, box.bottom])'
                                f'(document.querySelector({selector!r}).getBoundingClientRect())')

    def view(self, margin=0):
        """The box of the view, without a margin and what lies over it."""
        left, top, right, bottom = self.box('#view')
        return left + margin, top + 60, right - margin, bottom - 50

    def click_on(self, selector):
        self.browser.run(f'document.querySelector({selector!r}).scrollIntoView({{block: "nearest"}})')
        left, top, right, bottom = self.box(selector)
        self.browser.click((left + right) / 2, (top + bottom) / 2)

    def text(self, selector):
        return self.browser.run(f'document.querySelector({selector!r}).textContent')

    def array(self, name, kind):
        """An array of the page's file."""
        with open(self.path, encoding='utf-8') as file:
            text = re.search(f'id="{name}">([^<]*)<', file.read()).group(1)
        data = base64.b64decode(text)
        return struct.unpack(f'<{len(data) // 4}{kind}', data)

    def place_of_triangle(self, mesh, number):
        """Its middle, in pixels of the window."""
        numbers = self.array(f'triangleNumbers{mesh}', 'I')
        index = numbers.index(number) if numbers else number
        corners = self.array(f'corners{mesh}', 'I')[3 * index:3 * index + 3]
        places = [self.browser.run(f'trimoraPage.placeOfVertex({mesh}, {v})') for v in corners]
        left, top, _, _ = self.box('#view')
        return left + sum(place['x'] for place in places) / 3, top + sum(place['y'] for place in places) / 3

    def assert_quiet(self):
        self.assertEqual(self.browser.faults, [])
        self.assertEqual([url for url in self.browser.requests if not url.startswith(('file://' + self.path, 'data:'))], [])


class SurfaceTest(PageTest):
    def test_the_surface_is_drawn_and_nothing_is_fetched(self):
        self.open('compare')
        self.browser.wait_for('canvas.width !== 300')  # drawn without being asked
        image, view = self.image(), self.view()
        area = (view[2] - view[0]) * (view[3] - view[1])
        ground = image.count(like(GROUND, 2), view)
        self.assertGreater(ground, 0.1 * area)
        self.assertLess(ground, 0.8 * area)
        self.assertTrue(self.state()['draws'])
        self.assert_quiet()

    def test_mouse_turns_zooms_and_moves(self):
        self.open('compare')
        before, (left, top, right, bottom) = self.state(), self.view()
        x, y = (left + right) / 2, (top + bottom) / 2
        self.browser.drag((x, y), (x + 120, y + 40))
        turned = self.state()
        self.assertNotAlmostEqual(turned['azimuth'], before['azimuth'], 1)
        self.assertNotAlmostEqual(turned['elevation'], before['elevation'], 1)
        self.assertEqual(turned['target'], before['target'])
        self.assertIsNone(turned['picked'])
        self.browser.wheel(x, y, -300)
        self.browser.wait_for(f"trimoraPage.state().distance < {0.9 * before['distance']}")
        self.browser.drag((x, y), (x + 60, y), 'right')
        self.assertNotEqual(self.state()['target'], turned['target'])
        self.browser.key('f')
        self.browser.run('trimoraPage.settle()')
        self.assertAlmostEqual(self.state()['target'][0], 0.0)
        self.assert_quiet()

    def test_keys_switch_edges_backs_and_the_axis(self):
        self.open('compare')
        self.choose(0, HOLES, 0)
        plain, view = self.image(), self.view()
        self.assertGreater(plain.count(is_back, view), 500)
        self.browser.key('b')
        self.assertEqual(self.image().count(is_back, view), 0)
        self.browser.key('w')

        def darkness(image):
            return image.count(lambda pixel: max(pixel) < 110, view)
        self.assertGreater(darkness(self.image()), darkness(plain) + 500)
        self.browser.key('u')
        self.assertEqual(self.text('#toolUp'), 'Z up')
        self.browser.key('?')
        self.assertFalse(self.browser.run('document.getElementById("keys").hidden'))
        self.browser.key('Escape', 27)
        self.assertTrue(self.browser.run('document.getElementById("keys").hidden'))
        self.assert_quiet()

    def test_a_lost_context_comes_back(self):
        self.open('compare')
        before, view = self.image().count(like(GROUND, 2), self.view()), self.view()
        self.browser.run('''new Promise(done => {
            const canvas = document.getElementById('canvas'), way = canvas.getContext('webgl2').getExtension('WEBGL_lose_context');
            canvas.addEventListener('webglcontextlost', () => setTimeout(() => way.restoreContext(), 50));
            canvas.addEventListener('webglcontextrestored', () => setTimeout(() => done(true), 50));
            way.loseContext();
        })''')
        self.assertAlmostEqual(self.image().count(like(GROUND, 2), view), before, delta=200)

    def test_the_picture_follows_the_window(self):
        self.open('compare')
        for width, height, scale in (1400, 500, 1), (700, 900, 2):
            self.browser.call('Emulation.setDeviceMetricsOverride', width=width, height=height, deviceScaleFactor=scale,
                              mobile=False)
            self.browser.wait_for('(view => Math.abs(canvas.width - view.width * devicePixelRatio) < 2)'
                                  '(document.getElementById("view").getBoundingClientRect())')
        self.assert_quiet()

    def test_dark_and_light_follow_the_system_and_the_key(self):
        self.open('compare', dark=True)
        x, y = self.view(4)[:2]
        self.assertTrue(like(DARK_GROUND, 3)(self.image().at(x, y)))
        self.browser.key('t')
        self.assertTrue(like(GROUND, 3)(self.image().at(x, y)))


class FindingTest(PageTest):
    def test_a_click_on_a_finding_flies_there_and_lights_it(self):
        self.open('compare')
        before, image = self.state(), self.image()
        self.assertEqual(image.count(like(MODERATE), self.view()), 0)
        self.click_on(f'#lists li:nth-child({HOLES + 1}) h3 button')
        self.browser.wait_for('trimoraPage.state().chosen !== null')
        self.browser.wait_for('!trimoraPage.state().isFlying')
        arrived = self.state()
        self.assertLess(arrived['distance'], 0.7 * before['distance'])
        self.assertAlmostEqual(arrived['azimuth'] % 6.2831853, 0.0, 2)  # the hole faces +z
        self.assertGreater(self.image().count(like(MODERATE), self.view()), 300)
        setting_out = self.browser.run(f'trimoraPage.choose(0, {WINDING}, 0); trimoraPage.state()')
        self.assertEqual((setting_out['isFlying'], setting_out['distance']), (True, arrived['distance']))
        self.assert_quiet()

    def test_every_finding_lights_what_it_can(self):
        self.open('compare')
        expected = [(WINDING, SEVERE, 3000), (NON_MANIFOLD, SEVERE, 500), (HOLES, MODERATE, 300), (NEEDLES, SLIGHT, 60),
                    (DUST, SLIGHT, 300)]
        for finding, color, least in expected:
            self.choose(0, finding, 0)
            lit = self.image().count(lambda pixel, color=color: like(color, 60)(pixel) and not is_back(pixel)
                                     or like(color, 30)(pixel), self.view())
            self.assertGreater(lit, least, f'finding {finding}')
        self.assert_quiet()

    def test_a_place_too_small_to_see_has_a_ring(self):
        self.open('compare')
        self.choose(0, UNUSED, 0)
        self.assertFalse(self.browser.run('document.getElementById("mark").hidden'))
        left, top, right, bottom = self.box('#mark')
        view = self.box('#view')
        self.assertAlmostEqual((left + right) / 2, (view[0] + view[2]) / 2, delta=1)
        self.assertAlmostEqual((top + bottom) / 2, (view[1] + view[3]) / 2, delta=1)

    def test_findings_without_places_and_of_no_finite_place_do_no_harm(self):
        self.open('compare')
        self.choose(0, WITHOUT_PLACES, 0)
        self.choose(0, NON_FINITE, 0)
        self.choose(0, -1, -1)
        self.assertIsNone(self.state()['chosen'])
        self.assert_quiet()

    def test_all_findings_are_lit_at_once(self):
        self.open('compare')
        self.browser.key('f')
        self.click_on('#toolAll')
        image, view = self.image(), self.view()
        for color, least in (SEVERE, 60), (MODERATE, 60), (SLIGHT, 20):
            self.assertGreater(image.count(like(color, 20), view), least)
        self.assert_quiet()

    def test_keys_go_through_findings_and_round(self):
        self.open('compare')
        seen = []
        for key in 'nnpp':
            self.browser.key(key)
            seen.append(self.state()['chosen']['finding'])
        self.assertEqual(seen, [0, 1, 0, WITHOUT_PLACES])
        self.browser.key('N', shift=True)
        self.browser.key('Escape', 27)
        self.assertIsNone(self.state()['chosen'])
        self.assert_quiet()

    def test_the_list_is_reached_by_keys_and_named_for_readers(self):
        self.open('compare')
        self.browser.run('document.querySelector("#lists h3 button").focus()')
        self.browser.key('\r', 13)
        self.assertEqual(self.browser.run('document.querySelector("#lists h3 button").getAttribute("aria-expanded")'), 'true')
        self.assertIn('Fatal: 1 vertex is not a number', self.text('#spoken'))
        nodes = self.browser.call('Accessibility.getFullAXTree')['nodes']
        names = [node.get('name', {}).get('value', '') for node in nodes
                 if node.get('role', {}).get('value') in ('button', 'slider', 'radio', 'image', 'navigation')]
        self.assertGreater(len(names), 15)
        self.assertNotIn('', names)

    def test_the_remedy_can_be_copied(self):
        self.open('compare')
        self.choose(0, HOLES, 0)
        self.browser.run('document.addEventListener("copy", () => { window.copied = String(document.activeElement.value); });'
                         'Object.defineProperty(navigator, "clipboard", {value: {writeText: text => '
                         '{ window.copied = text; return Promise.resolve(); }}})')
        self.click_on('.remedy button')
        self.browser.wait_for('document.querySelector(".remedy button").textContent === "Copied"')
        self.assertEqual(self.browser.run('window.copied'), 'trimora repair sphere.obj OUT --only "<holes>"')
        self.open('hostile')
        self.choose(0, HOLES, 0)
        self.assertEqual(self.text('.remedy code'), 'trimora repair IN OUT --only "<holes>"')  # no name for a shell


    def test_places_are_told_by_numbers_and_coordinates_first(self):
        self.open('compare')
        findings = self.browser.run('JSON.parse(document.getElementById("diagnosis").textContent).meshes[0].findings')
        for finding, noun in (WINDING, 'triangles'), (NON_MANIFOLD, 'edge'), (HOLES, 'edges'), (UNUSED, 'vertex'):
            self.choose(0, finding, 0)
            place = findings[finding]['places'][0]
            row = f'#lists li:nth-child({finding + 1}) .places button'
            first = str(place['triangles'][0] if noun == 'triangles' else place['vertices'][0] if noun == 'vertex'
                        else f"{place['edges'][0]}–{place['edges'][1]}")
            self.assertRegex(self.text(f'{row} .elements'), f'^{noun} {first}')
            lines = self.browser.run(f'Array.from(document.querySelectorAll({row + " .note"!r}), line => line.textContent)')
            told = [float(x.replace(',', '')) for x in lines[0].removeprefix('at ').split(', ')]
            for x, centre in zip(told, place['centre']):
                self.assertAlmostEqual(x, centre, 3)
            if place['note']:
                self.assertEqual(lines[1], place['note'])
            self.assertIn(lines[0], self.text('#spoken'))
            if place['lowest'] != place['highest']:
                self.assertTrue(lines[-1].startswith('box '))
                self.assertGreater(self.box(f'{row} .box')[3] - self.box(f'{row} .box')[1], 5)  # of the chosen place
        self.assertIn('numbered from 0', self.text('#foot'))
        self.assert_quiet()

    def test_commands_that_were_not_tried_are_told_as_guesses(self):
        self.open('compare')
        for finding, heading in (HOLES, 'Mend it'), (NEEDLES, 'May mend it'):
            self.choose(0, finding, 0)
            self.assertEqual(self.text(f'#lists li:nth-child({finding + 1}) h4'), heading)

    def test_coordinates_are_those_of_the_file(self):
        self.open('shifted')
        self.choose(0, 0, 0)
        self.assertIn('at 4,000,000.125, ', self.text('#lists .places .note'))
        self.assertIn('was taken off', self.text('#foot'))
        self.browser.click(*self.place_of_triangle(0, 0))
        self.browser.wait_for('!document.getElementById("picked").hidden')
        cells = self.browser.run('Array.from(document.querySelectorAll("#picked tr td:nth-child(2)"), c => Number(c.textContent))')
        positions, corners = self.array('positions0', 'f'), self.array('corners0', 'I')
        self.assertEqual(cells, [4000000.125 + positions[3 * v] for v in corners[:3]])
        self.assert_quiet()


class PickTest(PageTest):
    def test_a_click_tells_the_triangle_and_its_findings(self):
        self.open('compare')
        self.choose(0, WINDING, 0)
        findings = self.browser.run('JSON.parse(document.getElementById("diagnosis").textContent).meshes[0].findings')
        number = findings[WINDING]['places'][0]['triangles'][1]
        self.browser.click(*self.place_of_triangle(0, number))
        self.browser.wait_for('!document.getElementById("picked").hidden')
        self.assertEqual(self.text('#picked h2'), f'Triangle {number}')
        self.assertEqual(self.text('#picked li'), 'Triangles are wound against their neighbours')
        coordinates = self.array('positions0', 'f')
        index = self.array('triangleNumbers0', 'I').index(number)
        for row, v in enumerate(self.array('corners0', 'I')[3 * index:3 * index + 3]):
            cells = self.browser.run(f'Array.from(document.querySelectorAll("#picked tr")[{row}].children, c => c.textContent)')
            self.assertEqual(cells[0], f'vertex {v}')
            shown = [struct.unpack('<f', struct.pack('<f', float(cell)))[0] for cell in cells[1:]]
            self.assertEqual(shown, list(coordinates[3 * v:3 * v + 3]))
        self.browser.key('Escape', 27)
        self.assertTrue(self.browser.run('document.getElementById("picked").hidden'))
        self.assert_quiet()

    def test_picks_are_the_triangles_that_are_seen(self):
        self.open('compare')
        self.browser.run('trimoraPage.show("after"); trimoraPage.settle()')
        corners, points = self.array('corners1', 'I'), self.array('positions1', 'f')
        left, top, _, _ = self.box('#view')
        eye_side = [t for t in range(len(corners) // 3) if self.faces_camera(corners, points, t)]
        self.assertGreater(len(eye_side), 300)
        for t in eye_side[::37]:
            x, y = self.place_of_triangle(1, t)
            self.assertEqual(self.browser.run(f'trimoraPage.triangleAt({x - left}, {y - top})'), {'mesh': 1, 'triangle': t})

    @staticmethod
    def faces_camera(corners, points, t):
        """Of a unit sphere, well on the side of the first view: azimuth 30 and elevation 20 degrees."""
        middle = [sum(points[3 * v + k] for v in corners[3 * t:3 * t + 3]) / 3 for k in range(3)]
        return sum(a * b for a, b in zip(middle, (0.47, 0.342, 0.814))) > 0.6

    def test_a_click_beside_the_surface_picks_nothing(self):
        self.open('compare')
        left, top, _, _ = self.view()
        self.browser.click(left + 5, top + 5)
        self.assertIsNone(self.state()['picked'])


class CompareTest(PageTest):
    def test_before_both_and_after(self):
        self.open('compare')
        self.choose(0, HOLES, 0)
        self.choose(0, -1, -1)
        view = self.view(30)
        middle = (view[0] + view[2]) / 2
        self.assertGreater(self.image().count(is_back, view), 500)
        self.click_on('#compare label:nth-child(3)')
        self.assertEqual(self.state()['shown'], 'after')
        self.assertEqual(self.image().count(is_back, view), 0)
        self.assertEqual(self.shown_lists(), [False, True])
        self.click_on('#compare label:nth-child(2)')
        self.assertEqual(self.shown_lists(), [True, True])
        both = self.image()
        self.assertGreater(both.count(is_back, (view[0], view[1], middle - 30, view[3])), 150)
        self.assertEqual(both.count(is_back, (middle + 30, view[1], view[2], view[3])), 0)
        self.assert_quiet()

    def shown_lists(self):
        return self.browser.run('Array.from(document.querySelectorAll("#lists > section"), list => !list.hidden)')

    def test_the_slider_moves_by_mouse_and_keys(self):
        self.open('compare')
        self.browser.run('trimoraPage.show("both")')
        left, top, right, bottom = self.box('#split')
        self.browser.drag(((left + right) / 2, (top + bottom) / 2), ((left + right) / 2 + 100, (top + bottom) / 2))
        view = self.box('#view')
        self.assertAlmostEqual(self.state()['split'], 0.5 + 100 / (view[2] - view[0]), 2)
        self.browser.run('document.getElementById("split").focus()')
        self.browser.key('ArrowLeft', 37)
        self.assertAlmostEqual(self.state()['split'], 0.45 + 100 / (view[2] - view[0]), 2)
        self.assert_quiet()

    def test_a_finding_of_the_repaired_mesh_shows_that(self):
        self.open('compare')
        self.choose(1, 0, 0)
        self.assertEqual(self.state()['shown'], 'after')


class OtherPagesTest(PageTest):
    def test_hostile_names_stay_text(self):
        self.open('hostile')
        for finding in range(8):
            self.choose(0, finding, 0)
        self.assertEqual(self.text('h1'), HOSTILE)
        self.assertEqual(self.browser.run('document.title'), ' '.join(f'{HOSTILE} – diagnosis'.replace('\u2028', '|').split(' '))
                         .replace('|', '\u2028'))
        self.assertEqual(self.text(f'#lists li:nth-child({NON_MANIFOLD + 1}) .title'), HOSTILE)
        self.assertTrue(self.browser.run('window.isBroken === undefined && document.images.length === 0'))
        self.assert_quiet()

    def test_an_empty_mesh_makes_an_empty_page(self):
        self.open('empty')
        self.image()
        self.assertIn('Sound', self.text('#head'))
        self.assert_quiet()

    def test_a_million_triangles_are_drawn_and_picked(self):
        self.open('large')
        self.assertIn('999,698 triangles', self.text('#foot'))
        self.choose(0, 0, 0)
        self.assertGreater(self.image().count(like(MODERATE, 40), self.view()), 300)
        number = self.browser.run('(box => trimoraPage.triangleAt(box.width / 2, box.height / 2).triangle)'
                                  '(document.getElementById("view").getBoundingClientRect())')
        self.assertIn(number, (0, 1))
        self.assert_quiet()

    def test_a_thinned_page_says_so_and_keeps_places(self):
        self.open('thinned')
        self.assertIn('Thinned for display', self.text('#foot'))
        self.choose(0, 0, 0)
        self.assertGreater(self.image().count(like(MODERATE, 40), self.view()), 300)
        self.assert_quiet()

    def test_on_a_phone_the_list_is_below_and_fingers_work(self):
        self.open('compare', width=390, height=844, scale=2, phone=True)
        view, panel = self.box('#view'), self.box('#panel')
        self.assertLessEqual(view[3], panel[1] + 1)
        self.assertLessEqual(self.browser.run('document.documentElement.scrollWidth'), 390)
        before = self.state()
        self.browser.touch('touchStart', (150, 250))
        self.browser.touch('touchMove', (190, 260))
        self.browser.touch('touchMove', (230, 270))
        self.browser.touch('touchEnd')
        turned = self.state()
        self.assertNotAlmostEqual(turned['azimuth'], before['azimuth'], 1)
        self.browser.touch('touchStart', (150, 250), (200, 250))
        self.browser.touch('touchMove', (120, 250), (230, 250))
        self.browser.touch('touchMove', (100, 250), (250, 250))
        self.browser.touch('touchEnd')
        self.assertLess(self.state()['distance'], 0.5 * turned['distance'])
        self.assertIsNone(self.state()['picked'])
        self.assert_quiet()


class WithoutWebGLTest(PageTest):
    def test_the_list_works_without_webgl(self):
        with Browser(find_chromium(), webgl=False) as browser:
            self.browser = browser
            self.open('compare')
            self.assertFalse(self.state()['draws'])
            self.assertFalse(browser.run('document.getElementById("noView").hidden'))
            self.click_on(f'#lists li:nth-child({HOLES + 1}) h3 button')
            self.assertEqual(self.state()['chosen'], {'mesh': 0, 'finding': HOLES, 'place': 0})
            self.assertIn('border of 4 edges', self.text(f'#lists li:nth-child({HOLES + 1}) .places'))
            browser.key('n')
            self.assertEqual(self.state()['chosen']['finding'], HOLES + 1)
            self.assert_quiet()


def main():
    program = find_chromium()
    if program is None:
        print('page/browser: no Chromium here, so the page was not looked at; Debian has it as the package chromium')
        return 0
    if not starts(program):
        print(f'page/browser: {program} does not start here, so the page was not looked at')
        return 0
    with tempfile.TemporaryDirectory(prefix='trimora-pages-') as folder, Browser(program) as browser:
        subprocess.run([os.path.abspath(sys.argv[1]), folder], check=True)
        PageTest.browser, PageTest.pages = browser, folder
        return 0 if unittest.main(argv=sys.argv[:1] + sys.argv[2:], exit=False).result.wasSuccessful() else 1


if __name__ == '__main__':
    sys.exit(main())

"""Tests how long waits take at each speed, even in a hidden tab. The upper limits allow a busy machine half a
second."""

import browsers
import pytest

# If `restartSpeed` is given, restarts the program at this speed. If `newSpeed` is given, changes the speed of
# the running program. Then measures with the page's clock how many milliseconds pass until the program writes
# again.
UNTIL_OUTPUT = """
    const [restartSpeed, newSpeed, done] = arguments;
    if (restartSpeed)
        meter.start({ speed: restartSpeed });
    const begin = performance.now();
    if (newSpeed) {
        document.getElementById("speed").value = newSpeed;
        document.getElementById("speed").dispatchEvent(new Event("change"));
    }
    const length = meter.output().length;
    const look = () => {
        if (meter.output().length > length)
            done(performance.now() - begin);
        else
            setTimeout(look, 2);
    };
    look();"""


def until_output(browser, restart=None, speed=None):
    return browser.async_script(UNTIL_OUTPUT, restart, speed)


def restart(browser, speed):
    browser.script("meter.start({speed: arguments[0]});", speed)


def pause(browser, milliseconds):
    browser.async_script("setTimeout(arguments[1], arguments[0]);", milliseconds)


def test_a_real_wait_times_out_after_thirty_seconds(chromium):
    assert 30_000 <= until_output(chromium, restart=1) <= 31_000


@pytest.mark.parametrize("speed, least, most", [(10, 3_000, 3_500), (100, 300, 800)])
def test_a_wait_is_shorter_at_a_higher_speed(chromium, speed, least, most):
    assert least <= until_output(chromium, restart=speed) <= most


def test_a_change_of_speed_applies_to_the_running_wait(chromium):
    """A wait takes thirty seconds. Three seconds of the wait pass at speed 1, and the rest at speed 100."""
    restart(chromium, 1)
    pause(chromium, 3_000)
    assert 220 <= until_output(chromium, speed=100) <= 800


def test_a_lower_speed_makes_the_rest_of_a_wait_longer(chromium):
    restart(chromium, 10)
    pause(chromium, 1_000)
    assert 3_700 <= until_output(chromium, speed=5) <= 4_500  # about twenty of the thirty seconds remain


def test_each_key_restarts_the_wait(chromium):
    restart(chromium, 10)
    pause(chromium, 2_000)
    chromium.send_keys("1")
    assert 2_800 <= until_output(chromium) <= 3_500


def test_the_speed_applies_to_the_pause_of_a_save(chromium):
    restart(chromium, 10)
    enter = browsers.ENTER
    chromium.send_keys(f"5{enter}2{enter}WEB{enter}0{enter}6{enter}")
    chromium.send_keys(f"y{enter}")
    assert chromium.script("return meter.waiting();") is False
    browsers.wait_for_output(chromium, b"Settings saved.", 3)
    assert b"Settings saved." in browsers.output_of(chromium)


def test_timers_run_on_time_in_a_hidden_tab(chromium):
    """Browsers run the timers of a hidden page only once a second. With such timers, the program would draw
    about ten screens in this test."""
    driver = chromium.driver
    page = driver.current_window_handle
    chromium.script("document.addEventListener('visibilitychange', () => { window.seen = document.visibilityState; });")
    restart(chromium, 100)
    driver.switch_to.new_window("tab")
    try:
        pause(chromium, 10_000)
    finally:
        driver.close()
        driver.switch_to.window(page)
    assert chromium.script("return window.seen;") == "visible"  # the tab was hidden before
    assert browsers.output_of(chromium).count(b"Select an option") >= 25

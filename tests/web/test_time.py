"""Waits: as long as they are to be, as fast as the speed says, also in a tab that nobody sees."""

import browsers
import pytest

# Fulfilled with the milliseconds from now, by the page's own clock, until the program writes.
UNTIL_OUTPUT = """
    const [prepare, done] = [arguments[0], arguments[arguments.length - 1]];
    const begin = performance.now();
    if (prepare)
        document.querySelector(prepare).dispatchEvent(new Event("change"));
    const length = meter.output().length;
    const look = () => {
        if (meter.output().length > length)
            done(performance.now() - begin);
        else
            setTimeout(look, 2);
    };
    look();"""


def milliseconds_to_the_next_output(browser):
    return browser.async_script(UNTIL_OUTPUT, "")


def restart(browser, speed):
    browser.script("meter.start({speed: arguments[0]});", speed)


def test_a_real_wait_times_out_after_thirty_seconds(chromium):
    restart(chromium, 1)
    assert 29_950 <= milliseconds_to_the_next_output(chromium) <= 31_000


@pytest.mark.parametrize("speed, least, most", [(10, 2_950, 3_100), (100, 250, 400)])
def test_at_a_higher_speed_it_takes_that_much_less(chromium, speed, least, most):
    chromium.open(browsers.address(f"speed={speed}"))
    restart(chromium, speed)
    assert least <= milliseconds_to_the_next_output(chromium) <= most


def test_a_change_of_speed_counts_for_the_running_wait(chromium):
    """Three seconds of thirty at speed 1, then the rest at speed 100."""
    restart(chromium, 1)
    chromium.async_script("setTimeout(arguments[0], 3000);")
    chromium.script("document.getElementById('speed').value = 100;")
    rest = chromium.async_script(UNTIL_OUTPUT, "#speed")
    assert 220 <= rest <= 400


def test_a_slower_speed_makes_the_rest_longer(chromium):
    restart(chromium, 10)
    chromium.async_script("setTimeout(arguments[0], 1000);")
    chromium.script("document.getElementById('speed').value = 5;")
    rest = chromium.async_script(UNTIL_OUTPUT, "#speed")
    assert 3_700 <= rest <= 4_200  # about twenty seconds at speed 5


def test_each_key_restarts_the_wait(chromium):
    restart(chromium, 10)
    chromium.async_script("setTimeout(arguments[0], 2000);")
    chromium.send_keys("1")
    assert 2_800 <= milliseconds_to_the_next_output(chromium) <= 3_100


def test_the_pause_of_a_save_runs_at_the_speed_too(chromium):
    restart(chromium, 10)
    enter = browsers.ENTER
    chromium.send_keys(f"5{enter}2{enter}WEB{enter}0{enter}6{enter}")
    chromium.send_keys(f"y{enter}")
    assert chromium.script("return meter.waiting();") is False
    browsers.wait_for_output(chromium, b"Settings saved.", 3)
    assert b"Settings saved." in browsers.output_of(chromium)


def test_timers_of_a_hidden_tab_are_not_held_back(chromium):
    """A page's own timers would ring once a second there, so at most ten times."""
    driver = chromium.driver
    page = driver.current_window_handle
    chromium.script("document.addEventListener('visibilitychange', () => { window.seen = document.visibilityState; });")
    restart(chromium, 100)
    driver.switch_to.new_window("tab")
    try:
        chromium.async_script("setTimeout(arguments[0], 10000);")
    finally:
        driver.close()
        driver.switch_to.window(page)
    assert chromium.script("return window.seen;") == "visible"  # so it was hidden before
    assert browsers.output_of(chromium).count(b"Select an option") >= 25

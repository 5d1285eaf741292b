"""Tests which values a plan may contain, the line and the reason of each problem, and printed plans."""

import tomllib

import pytest
from meter_fleet import plan
from meter_fleet.plan import PlanError
from meter_fleet.toml_lines import key_lines

pytestmark = pytest.mark.host_only

ACCEPTED = {
    "dhcp": [True, False],
    "ip_address": ["0.0.0.0", "255.255.255.255", "010.1.1.1", ""],
    "subnet_mask": ["255.255.255.0"],
    "default_gateway": ["10.0.0.1", ""],
    "media_type": ["", "100Base-TX Full", "a  b"],
    "primary_dns": ["1.2.3.4", ""],
    "secondary_dns": ["1.2.3.4", ""],
    "serial_number": ["091512345", "09011", "995299999", "YYMMXXXXX"],
    "options_list": ["5", "1C-2A-5-WEB-IEC", "web-ntp", "PQR-PQ1", "MID-mid"[:3],
                     "1C-2B-4-5-WEB-IEC-IB-IEEE-NTP-PPS-DLP-ML-THP-EAP-DC-PQ3-PMU"],
    "meter_form": [0, 5, ""],
    "class_amps": [0, 2, ""],
    "nominal_frequency": [0, 1, ""],
    "enclosure": ["S", "K1F", "W"],
}
REJECTED = {
    "dhcp": [0, 1, "true", "", None],
    "ip_address": ["1.2.3", "256.1.1.1", "10.1.1.1.9", " 10.1.1.1", "10.1.1.1 ", "+1.2.3.4", "1.2.3.-0",
                   "10.0.0.1abc", "~", 10, True, "1.2.3.4\n", "1.2.3.4\b"],
    "subnet_mask": ["", "255.255.255"],
    "default_gateway": ["1..2.3"],
    "media_type": [" a", "a ", "a;b", "[Auto-negotiate]", "[None]", "\u00b5", 3],
    "primary_dns": ["dns.example"],
    "secondary_dns": ["1.2.3.4.5"],
    "serial_number": ["", "08" + "1512345", "095312345", "090012345", "091200000", "0912", "0912123456",
                      "0915-2345", " 91512345", "+91512345", 91512345, "yymmxxxxx"],
    "options_list": ["", "-5", "5-", "4--5", "1A-1C", "Web", "WEB-WEB", "WEB-web", "45", "XYZ", "PQ1-PQ2",
                     "1a-1B", "5 ", "1C,2A", "~"],
    "meter_form": [-1, 6, "3", True, False, 3.0, "~"],
    "class_amps": [3, "0"],
    "nominal_frequency": [2, 50],
    "enclosure": ["", "rk", "K1 ", "K", "~"],
}


def cases(table):
    return [(name, value) for name, values in table.items() for value in values]


@pytest.mark.parametrize("name, value", cases(ACCEPTED))
def test_a_value_that_the_menus_can_set_is_accepted(name, value):
    assert plan.why_rejected(name, value) == ""


@pytest.mark.parametrize("name, value", cases(REJECTED))
def test_a_value_that_the_menus_cannot_set_exactly_is_rejected(name, value):
    assert plan.why_rejected(name, value) != ""


def read(tmp_path, text, name="plan.toml"):
    path = tmp_path / name
    path.write_text(text)
    return plan.read_plans([path])


def problems(tmp_path, text):
    with pytest.raises(PlanError) as caught:
        read(tmp_path, text)
    return [str(one).removeprefix(str(tmp_path) + "/") for one in caught.value.problems]


def test_defaults_are_taken_key_by_key(tmp_path):
    first, second = read(tmp_path, """
        [defaults]
        program = "other"
        login = { user = "tech", password_env = "SECRET" }
        [defaults.settings]
        dhcp = false
        enclosure = "RK"
        [[meter]]
        name = "a"
        console = "run:x"
        [[meter]]
        name = "b"
        console = "ssh:u@h:2222"
        login = { user = "me" }
        [meter.settings]
        enclosure = "S"
        """)
    assert first.program == second.program == "other"
    assert dict(first.settings) == {"dhcp": False, "enclosure": "RK"}
    assert dict(second.settings) == {"dhcp": False, "enclosure": "S"}
    assert (second.login.user, second.login.password_env) == ("me", "SECRET")
    assert (second.console.user, second.console.host, second.console.port) == ("u", "h", 2222)


GOOD = '[[meter]]\nname = "a"\nconsole = "run:x"\n'


@pytest.mark.parametrize("text, wanted", [
    (GOOD + "colour = 1\n", "plan.toml:4: colour is not a key of a meter"),
    (GOOD + '[meter.settings]\ndhcp = true\nip_address = "10.1.1.1.9"\n',
     'plan.toml:6: ip_address = "10.1.1.1.9": has more than four numbers'),
    (GOOD + '[meter.settings]\nenclosure = "RK "\n', 'plan.toml:5: enclosure = "RK ": has spaces'),
    (GOOD + '[meter.settings]\noptions_list = ""\n', "plan.toml:5: options_list"),
    (GOOD + "[meter.settings]\nreset_passwords = true\n", "plan.toml:5: reset_passwords is not a setting"),
    (GOOD + 'settings.subnet_mask = ""\n', "plan.toml:4: subnet_mask"),
    (GOOD + "settings = { meter_form = 6 }\n", "plan.toml:4: meter_form = 6: must be from 0 to 5"),
    ("[defaults.settings]\nclass_amps = 9\n" + GOOD, "plan.toml:2: class_amps = 9"),
    ("name = 1\n" + GOOD, "plan.toml:1: name is not a key of a plan"),
    (GOOD + GOOD, 'plan.toml:5: a meter named "a" is already at '),
    ('[[meter]]\nname = "a"\n', "plan.toml:1: a meter needs a console"),
    ('[[meter]]\nconsole = "run:x"\n', "plan.toml:1: a meter needs a name"),
    ('[[meter]]\nname = "a"\nconsole = "file:x"\n', "plan.toml:3: console file:x: must begin with"),
    ('[[meter]]\nname = "a"\nconsole = "ssh:host"\n', "plan.toml:3: console ssh:host"),
    ('[[meter]]\nname = "a"\nconsole = "ssh:-oProxyCommand=x@host"\n', "plan.toml:3: console ssh:-o"),
    ('[[meter]]\nname = "a"\nconsole = "telnet:h:0"\n', "plan.toml:3: console telnet:h:0: 0 is not a port"),
    ('[[meter]]\nname = "a"\nconsole = "serial:/dev/x?baud=0"\n', "plan.toml:3: console serial:"),
    (GOOD + 'login = { prompt = "(" }\n', "plan.toml:4: prompt is not a regular expression"),
    (GOOD + 'login = { pass = "x" }\n', "plan.toml:4: pass is not a key of a login"),
    ("[[meter]\n", "plan.toml:1: is not TOML"),
    ("[defaults]\n", "plan.toml:1: names no meter"),
])
def test_a_problem_is_reported_with_its_file_line_and_reason(tmp_path, text, wanted):
    assert problems(tmp_path, text)[0].startswith(wanted)


def test_all_problems_of_all_plans_are_found(tmp_path):
    one, other = tmp_path / "one.toml", tmp_path / "other.toml"
    one.write_text(GOOD + "[meter.settings]\ndhcp = 1\nenclosure = 2\n")
    other.write_text(GOOD)
    with pytest.raises(PlanError) as caught:
        plan.read_plans([one, other, other, tmp_path / "missing.toml"])
    assert [problem.line for problem in caught.value.problems] == [5, 6, 1, 2]


def test_a_line_is_found_past_a_multi_line_string():
    lines = key_lines('a = """\n[[meter]]\nb = 1\n"""\n[[meter]]\n[meter.settings]\nc.d = 1\n[[meter]]\n"x y" = 2\n')
    assert lines[("meter", 0, "settings", "c", "d")] == 7
    assert lines[("meter", 1, "x y")] == 9
    assert ("b",) not in lines


def test_a_printed_plan_has_the_same_values_when_read_again(tmp_path):
    meter = plan.meter_of({"name": 'a "b" \\', "console": "run:x 'y'", "program": "other",
                           "login": {"user": "tech", "prompt": "[$#] $"},
                           "settings": {"dhcp": True, "meter_form": 3, "secondary_dns": ""}})
    assert read(tmp_path, plan.plan_text(meter, meter.settings)) == [meter]


def test_a_value_that_no_plan_may_contain_is_printed_as_a_comment():
    meter = plan.meter_of({"name": "a", "console": "run:x"})
    text = plan.plan_text(meter, {"dhcp": True, "subnet_mask": "", "media_type": "a\x07;b"})
    assert tomllib.loads(text)["meter"][0]["settings"] == {"dhcp": True}
    assert '# subnet_mask = ""  # cannot be removed' in text

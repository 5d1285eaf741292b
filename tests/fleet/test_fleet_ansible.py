"""Runs the Ansible collection with Debian's ansible-core on simulated meters."""

import json
import os
import shutil
import subprocess

import fleet_verdict
import pytest
import yaml
from fleet_plans import read_settings
from fleet_rig import FACTORY_LEAVES, FleetMeter
from harness.program import REPOSITORY

pytestmark = [pytest.mark.host_only, pytest.mark.fleet]

ANSIBLE = REPOSITORY / "fleet" / "ansible"
COLLECTION = ANSIBLE / "ansible_collections" / "meter_settings" / "fleet"
LIMIT = 600
SETTINGS = {"dhcp": False, "ip_address": "198.51.100.20", "secondary_dns": "", "serial_number": "101212346",
            "meter_form": 5, "enclosure": "K1F"}  # fmt: skip
# The tests of ansible-test that need no packages from the Python package index.
SANITY = ("action-plugin-docs", "compile", "empty-init", "future-import-boilerplate", "ignores", "line-endings",
          "metaclass-boilerplate", "no-assert", "no-basestring", "no-dict-iteritems", "no-dict-iterkeys",
          "no-dict-itervalues", "no-get-exception", "no-illegal-filenames", "no-main-display", "no-smart-quotes",
          "no-unicode-literals", "replace-urlopen", "shebang", "symlinks", "use-argspec-type-path",
          "use-compat-six")  # fmt: skip


@pytest.fixture
def folder(folder, plain_folder):
    """Returns a link to the test's directory. Ansible splits lists of paths at colons and does not quote its
    home directory. The path of the link has no characters that cause errors there. The link `project` in the
    same directory leads to the project."""
    (plain_folder / "project").symlink_to(REPOSITORY)
    (plain_folder / "folder").symlink_to(folder)
    return plain_folder / "folder"


def environment(folder):
    project = folder.with_name("project")
    return {**os.environ, "HOME": str(folder), "ANSIBLE_HOME": str(folder / "ansible"), "ANSIBLE_NOCOLOR": "1",
            "ANSIBLE_COLLECTIONS_PATH": str(project / "fleet" / "ansible"), "PYTHONPATH": str(project / "fleet"),
            "ANSIBLE_STDOUT_CALLBACK": "results",
            "ANSIBLE_CALLBACK_PLUGINS": str(project / "tests" / "fleet" / "callbacks"),
            "ANSIBLE_LOCALHOST_WARNING": "False", "NO_COLOR": "1"}


def playbook(folder, meters, task, *arguments):
    """Runs one task on all meters. Returns the task's result for each meter, and the exit status."""
    hosts = {name: {"console": meter.console} for name, meter in meters.items()}
    inventory = {"all": {"hosts": hosts, "vars": {"ansible_connection": "local"}}}
    (folder / "inventory.yml").write_text(yaml.safe_dump(inventory))
    play = {"hosts": "all", "gather_facts": False, "tasks": [task]}
    (folder / "play.yml").write_text(yaml.safe_dump([play]))
    done = subprocess.run(["ansible-playbook", "-i", str(folder / "inventory.yml"), str(folder / "play.yml"),
                           "--forks", "10", *arguments], env=environment(folder), cwd=folder, capture_output=True,
                          text=True, timeout=LIMIT, stdin=subprocess.DEVNULL, check=False)
    results = [json.loads(line) for line in done.stdout.splitlines() if line.startswith("{")]
    assert len(results) == len(meters), done.stdout + done.stderr
    return {result["host"]: result["result"] for result in results}, done.returncode


def task(module, folder, **options):
    given = {"name": "{{ inventory_hostname }}", "console": "{{ console }}", "records": str(folder / "records")}
    return {f"meter_settings.fleet.{module}": {**given, **options}}


def test_fifty_meters_are_predicted_and_changed_and_not_changed_again(folder, request):
    count = 50 if request.config.getoption("--full") else 5
    meters = {f"meter-{i}": FleetMeter(folder / f"meter-{i}") for i in range(count)}
    apply = task("meter_settings", folder, settings=SETTINGS)

    foreseen, status = playbook(folder, meters, apply, "--check", "--diff")
    assert status == 0
    assert all(result["changed"] and result["result"] == "differs" for result in foreseen.values())
    assert all(meter.leaves() == FACTORY_LEAVES for meter in meters.values())

    done, status = playbook(folder, meters, apply, "--diff")
    assert status == 0 and len(done) == count
    for name, meter in meters.items():
        assert done[name]["changed"] and done[name]["result"] == "changed"
        assert done[name]["diff"] == foreseen[name]["diff"]
        assert fleet_verdict.is_as_planned(meter.leaves(), SETTINGS)

    again, status = playbook(folder, meters, apply)
    assert status == 0
    assert not any(result["changed"] for result in again.values())

    read, status = playbook(folder, meters, task("meter_settings_info", folder))
    assert status == 0
    for name, meter in meters.items():
        assert read[name]["settings"] == read_settings(meter.leaves()) and not read[name]["changed"]


def test_the_difference_shows_the_old_and_new_values(folder):
    meters = {"meter": FleetMeter(folder / "meter")}
    done, _ = playbook(folder, meters, task("meter_settings", folder, settings=SETTINGS), "--check", "--diff")
    difference = done["meter"]["diff"]
    assert difference["before"]["ip_address"] == "192.0.2.10"
    assert difference["after"]["ip_address"] == "198.51.100.20"
    assert "dhcp" not in difference["after"]


def test_a_bad_value_fails_before_the_console_is_opened(folder):
    meter = FleetMeter(folder / "meter")
    apply = task("meter_settings", folder, settings={"ip_address": "256.1.1.1"})
    done, status = playbook(folder, {"meter": meter}, apply)
    assert status == 2 and "ip_address" in done["meter"]["msg"]
    assert not meter.trace.exists()


def test_a_serial_number_that_yaml_reads_as_a_number_fails(folder):
    meter = FleetMeter(folder / "meter")
    given = task("meter_settings", folder, settings={"serial_number": 1012123})
    done, status = playbook(folder, {"meter": meter}, given)
    assert status == 2 and "serial_number" in done["meter"]["msg"]
    assert not meter.trace.exists()


def test_a_failed_save_is_a_failure_that_reports_the_values_on_the_meter(folder):
    meter = FleetMeter(folder / "meter", faults='[[fault]]\ncall = "set_leaves"\nresult = -1\n')
    done, status = playbook(folder, {"meter": meter}, task("meter_settings", folder, settings=SETTINGS))
    assert status == 2
    assert done["meter"]["result"] == "unknown" and done["meter"]["messages"]


def test_documentation(folder):
    for module in ("meter_settings", "meter_settings_info"):
        shown = subprocess.run(["ansible-doc", "--json", f"meter_settings.fleet.{module}"], capture_output=True,
                               text=True, timeout=LIMIT, check=True,
                               env=environment(folder)).stdout
        documented = json.loads(shown)[f"meter_settings.fleet.{module}"]
        assert documented["doc"]["options"]["console"]["required"]
        assert documented["examples"] and documented["return"]


def copied(folder):
    """Returns a copy of the collection. Tools can write to the directory of the copy."""
    root = folder / "copy"
    shutil.copytree(ANSIBLE, root, ignore=shutil.ignore_patterns("__pycache__", "output"))
    return root


def test_ansible_lint_is_clean(folder):
    root = copied(folder)
    done = subprocess.run(["ansible-lint", "--offline", "--profile", "production"], cwd=root, capture_output=True,
                          text=True, timeout=LIMIT, check=False,
                          env=environment(folder) | {"ANSIBLE_COLLECTIONS_PATH": str(root)})
    assert done.returncode == 0, done.stdout + done.stderr


@pytest.mark.full
def test_ansible_test_sanity(folder):
    collection = copied(folder) / COLLECTION.relative_to(ANSIBLE)
    subprocess.run(["git", "init", "-q", str(folder / "copy")], check=True)
    subprocess.run(["git", "add", "-A"], cwd=folder / "copy", check=True)
    tests = [word for name in SANITY for word in ("--test", name)]
    done = subprocess.run(["ansible-test", "sanity", *tests, "--python", "3.11"], cwd=collection,
                          capture_output=True, text=True, timeout=LIMIT, env=environment(folder), check=False)
    assert done.returncode == 0, done.stdout + done.stderr


def test_the_example_is_valid(folder):
    """The example's inventory has a terminal server. The example's playbook has no syntax error and contains
    only known settings."""
    shown = subprocess.run(["ansible-inventory", "-i", str(ANSIBLE / "example" / "inventory.yml"), "--list"],
                           capture_output=True, text=True, timeout=LIMIT, check=True,
                           env=environment(folder) | {"ANSIBLE_STDOUT_CALLBACK": "default"}).stdout
    hosts = json.loads(shown)["_meta"]["hostvars"]
    assert any(variables["console"].startswith("telnet:") for variables in hosts.values())
    checked = subprocess.run(["ansible-playbook", "--syntax-check", "-i", str(ANSIBLE / "example" / "inventory.yml"),
                              str(ANSIBLE / "example" / "site.yml")], env=environment(folder), capture_output=True,
                             text=True, timeout=LIMIT, check=False)
    assert checked.returncode == 0, checked.stderr
    play = yaml.safe_load((ANSIBLE / "example" / "site.yml").read_text())[0]
    settings = play["tasks"][0]["meter_settings.fleet.meter_settings"]["settings"]
    assert settings.keys() <= fleet_verdict.LEAVES.keys()

"""Runs the doctor and reads its report."""

import json
import shutil
import subprocess

from harness.program import BUILD, STEP_LIMIT, command

DOCTOR = BUILD / "meter-settings-doctor"
ON_ODD_LIBRARY = BUILD / "doctor-on-odd-library"
SCRATCH = "/Scratch/Value"


class Report:
    def __init__(self, done):
        self.status = done.returncode
        self.output = done.stdout.decode()
        self.errors = done.stderr.decode()
        report = json.loads(self.output)
        self.findings = report["findings"]
        counted = [finding["result"] for finding in self.findings]
        assert [counted.count(kind) for kind in ("ok", "note", "wrong")] == [
            report["ok"], report["notes"], report["wrong"]]

    def of(self, kind, group=None):
        """Returns a text for each finding of this kind: "LEAF MESSAGE", or "MESSAGE" without a leaf."""
        return [(finding["leaf"] + " " + finding["message"]).lstrip() for finding in self.findings
                if finding["result"] == kind and group in (None, finding["group"])]


def run(environment, *arguments, program=DOCTOR, keys=b""):
    words = command(program, *arguments)
    words[0] = shutil.which(words[0])  # the PATH in `environment` may not contain this program
    return subprocess.run(words, env=environment, input=keys,
                          capture_output=True, timeout=STEP_LIMIT, check=False)


def report(environment, *arguments, program=DOCTOR):
    return Report(run(environment, "--json", *arguments, program=program))

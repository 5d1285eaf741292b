"""A plugin for Ansible that prints the result of each task and host as one line of JSON, and nothing else."""

import json

from ansible.plugins.callback import CallbackBase

DOCUMENTATION = """
name: results
type: stdout
short_description: Results as lines of JSON
description: For tests.
"""


class CallbackModule(CallbackBase):
    CALLBACK_VERSION = 2.0
    CALLBACK_TYPE = "stdout"
    CALLBACK_NAME = "results"

    def show(self, result):
        self._display.display(json.dumps({"host": result._host.get_name(), "result": result._result}))

    def v2_runner_on_ok(self, result):
        self.show(result)

    def v2_runner_on_failed(self, result, ignore_errors=False):
        self.show(result)

    def v2_runner_on_unreachable(self, result):
        self.show(result)

# Copyright: the authors of meter-settings
# See the LICENSE file of this collection

"""The documentation of the console options, which meter_settings and meter_settings_info share."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


class ModuleDocFragment(object):
    DOCUMENTATION = r"""
options:
  console:
    description:
      - How to reach the meter's console.
      - C(ssh:USER@HOST), C(ssh:USER@HOST:PORT), C(telnet:HOST:PORT), C(serial:DEVICE),
        C(serial:DEVICE?baud=RATE), C(shell:COMMAND) or C(run:COMMAND).
    type: str
    required: true
  name:
    description:
      - The meter's name in messages and in the name of its transcript.
    type: str
    default: meter
  program:
    description:
      - The command that starts the settings utility at the meter's shell.
    type: str
    default: meter-settings
  login:
    description:
      - How to log in if the console asks for a user or a password.
    type: dict
    suboptions:
      user:
        description:
          - The user's name.
        type: str
      password_env:
        description:
          - The name of the environment variable with the password.
          - The keyword C(environment) of the task can set this variable.
        type: str
      prompt:
        description:
          - A regular expression for the end of the shell's prompt.
        type: str
  records:
    description:
      - The directory for the transcript, on the control node.
      - The module creates the directory if it is missing.
    type: path
    default: meter-fleet-records
requirements:
  - The Python library of C(meter-fleet) on the control node
notes:
  - Run the module on the control node, with C(ansible_connection) set to C(local).
author:
  - The meter-settings developers (!UNKNOWN) <meter-settings@example.org>
"""

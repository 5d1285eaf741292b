# Copyright: the authors of meter-settings
# See the LICENSE file of this collection

"""The documentation of the console options, for both modules."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type


class ModuleDocFragment(object):
    """The options of the console."""

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
      - What is typed at the meter's shell to start its settings utility.
    type: str
    default: meter-settings
  login:
    description:
      - How to log in where the console asks for it.
    type: dict
    suboptions:
      user:
        description:
          - The user's name.
        type: str
      password_env:
        description:
          - The environment variable that holds the password. C(environment) of the task can set it.
        type: str
      prompt:
        description:
          - A regular expression for the end of the shell's prompt.
        type: str
  records:
    description:
      - The directory on the control node to which the transcript is written. It is made when it is missing.
    type: path
    default: meter-fleet-records
requirements:
  - The Python library of C(meter-fleet) on the control node
notes:
  - Run the module on the control node, with C(ansible_connection) set to C(local).
author:
  - The meter-settings developers (!UNKNOWN) <meter-settings@example.org>
"""

#!/usr/bin/python
# Copyright: the authors of meter-settings
# See the LICENSE file of this collection

"""Reads the settings of a meter."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: meter_settings_info
short_description: Read the settings of an electricity meter
version_added: 1.0.0
description:
  - Operates the menus of the settings utility on a meter's console and returns what its screens show.
  - Changes nothing on the meter.
extends_documentation_fragment:
  - meter_settings.fleet.console
attributes:
  check_mode:
    description: The module changes nothing in either mode.
    support: full
  diff_mode:
    description: There are no differences to show.
    support: none
"""

EXAMPLES = r"""
- name: Read the settings of a meter
  meter_settings.fleet.meter_settings_info:
    console: ssh:tech@192.0.2.10
  register: meter

- name: Show its serial number
  ansible.builtin.debug:
    var: meter.settings.serial_number
"""

RETURN = r"""
settings:
  description:
    - The settings, with the same names as in C(meter_settings.fleet.meter_settings).
  returned: success
  type: dict
  sample: {"dhcp": false, "ip_address": "192.0.2.10"}
result:
  description:
    - C(ok).
    - After a failed task, C(rejected), C(unreachable) or C(unknown).
  returned: always
  type: str
  sample: ok
messages:
  description: Messages about the work.
  returned: when a console was opened
  type: list
  elements: str
  sample: []
name:
  description: The meter's name.
  returned: when a console was opened
  type: str
  sample: feeder-12
seconds:
  description: The duration of the work, in seconds.
  returned: when a console was opened
  type: float
  sample: 0.4
record:
  description: The path of the transcript.
  returned: when a console was opened
  type: str
  sample: meter-fleet-records/feeder-12.dialogue
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.meter_settings.fleet.plugins.module_utils.console import (
    CONSOLE_OPTIONS,
    operate,
)


def main():
    """Runs the module."""
    module = AnsibleModule(argument_spec=CONSOLE_OPTIONS, supports_check_mode=True)
    result = operate(module, "show", {})
    del result["diff"]
    module.exit_json(**result)


if __name__ == "__main__":
    main()

#!/usr/bin/python
# Copyright: the authors of meter-settings
# See the LICENSE file of this collection

"""Applies planned settings to a meter."""

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: meter_settings
short_description: Apply planned settings to an electricity meter
version_added: 1.0.0
description:
  - Operates the menus of the settings utility on a meter's console.
  - Reads the screens and compares them with I(settings). Enters only the settings that differ,
    saves once, and then reads every planned setting again in a new session.
  - Does not compare or change a setting that I(settings) does not name.
  - Never resets passwords, clears the options list or restores factory defaults.
extends_documentation_fragment:
  - meter_settings.fleet.console
options:
  settings:
    description:
      - The planned value of each setting.
      - An empty string removes an address from the meter. The subnet mask cannot be removed.
    type: dict
    required: true
    suboptions:
      dhcp:
        description: Whether the port gets its address by DHCP.
        type: bool
      ip_address:
        description: The IPv4 address of the port.
        type: str
      subnet_mask:
        description: The subnet mask of the port.
        type: str
      default_gateway:
        description: The default gateway of the port.
        type: str
      media_type:
        description: A media type that the meter offers. An empty string selects auto-negotiation.
        type: str
      primary_dns:
        description: The primary DNS server.
        type: str
      secondary_dns:
        description: The secondary DNS server.
        type: str
      serial_number:
        description:
          - Two digits for the year, two for the week, and five for the model number.
          - Put the number in quotes, because YAML reads some numbers with a leading zero as octal.
        type: raw
      options_list:
        description: The installed options, with dashes between them.
        type: str
      meter_form:
        description: The number of the meter form, from 0 to 5.
        type: int
      class_amps:
        description: The number of the class amps, from 0 to 2.
        type: int
      nominal_frequency:
        description: The number of the nominal frequency, 0 or 1.
        type: int
      enclosure:
        description: The code of the enclosure, such as C(RK).
        type: str
attributes:
  check_mode:
    description: The module reads the meter and predicts the changes.
    support: full
  diff_mode:
    description: The module returns the old and new values of the settings that differ.
    support: full
"""

EXAMPLES = r"""
- name: Apply settings to a meter
  meter_settings.fleet.meter_settings:
    name: "{{ inventory_hostname }}"
    console: telnet:192.0.2.2:7012
    login:
      user: tech
      password_env: METER_PASSWORD
    settings:
      dhcp: false
      ip_address: 192.0.2.10
      subnet_mask: 255.255.255.0
      secondary_dns: ""
      serial_number: "091512345"
"""

RETURN = r"""
result:
  description:
    - C(ok), C(changed) or C(differs).
    - After a failed task, C(rejected), C(unreachable) or C(unknown).
  returned: always
  type: str
  sample: changed
settings:
  description: The settings from the last reading.
  returned: when the meter could be read
  type: dict
  sample: {"dhcp": false, "ip_address": "192.0.2.10"}
messages:
  description:
    - Messages about the work.
    - After C(unknown), they contain each setting that was read, with its value.
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
  sample: 1.2
record:
  description: The path of the transcript.
  returned: when a console was opened
  type: str
  sample: meter-fleet-records/feeder-12.dialogue
"""

from ansible.module_utils.basic import AnsibleModule
from ansible_collections.meter_settings.fleet.plugins.module_utils.console import (
    CONSOLE_OPTIONS,
    named,
    operate,
    returned,
)

SETTINGS = dict(
    dhcp=dict(type="bool"),
    ip_address=dict(type="str"),
    subnet_mask=dict(type="str"),
    default_gateway=dict(type="str"),
    media_type=dict(type="str"),
    primary_dns=dict(type="str"),
    secondary_dns=dict(type="str"),
    serial_number=dict(type="raw"),
    options_list=dict(type="str"),
    meter_form=dict(type="int"),
    class_amps=dict(type="int"),
    nominal_frequency=dict(type="int"),
    enclosure=dict(type="str"),
)


def main():
    """Runs the module."""
    module = AnsibleModule(
        argument_spec=dict(CONSOLE_OPTIONS, settings=dict(type="dict", required=True, options=SETTINGS)),
        supports_check_mode=True,
    )
    command = "check" if module.check_mode else "apply"
    module.exit_json(**returned(operate(module, command, named(module.params["settings"]))))


if __name__ == "__main__":
    main()

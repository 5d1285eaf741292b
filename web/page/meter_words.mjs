// Describes the meter's leaves, calls and commands in words for a technician.

const network = "/Software/System Settings/Network";
const port = `${network}/Interface/1`;
const mirror = "/VMC/Comms/EthPort/1/General";

// The leaves that each menu reads on every pass.
export const menuReads = {
    "main menu": [`${network}/Name Server/1/Value`, `${network}/Name Server/2/Value`],
    "port menu": [
        `${port}/DHCP Enabled/Value`,
        `${port}/IP Address/Value`,
        `${port}/Subnet Mask/Value`,
        `${port}/Default Gateway/Value`,
        `${port}/MAC Address/Value`,
        `${port}/Link Enabled/Value`,
        `${port}/Media Type/Supported Types/Value`,
        `${port}/Media Type/Current Type/Value`,
    ],
    "initialisation menu": [
        "/VMIC/SerialNumber/Value",
        "/VMIC/OptionsList/Value",
        "/VMC/PrimCfg/Form/Value",
        "/VMC/PrimCfg/ClassAmps/Value",
        "/VMC/PrimCfg/NomFreq/Value",
        "/VMIC/Enclosure/Value",
    ],
};

const readWords = {
    "main menu": "Reads the DNS servers",
    "port menu": "Reads the settings of Ethernet port 1",
    "initialisation menu": "Reads the meter's identity",
};

const leafWords = {
    [`${network}/Name Server/1/Value`]: "DNS server, primary",
    [`${network}/Name Server/2/Value`]: "DNS server, secondary",
    [`${port}/DHCP Enabled/Value`]: "Port 1: DHCP",
    [`${port}/IP Address/Value`]: "Port 1: IP address",
    [`${port}/Subnet Mask/Value`]: "Port 1: subnet mask",
    [`${port}/Default Gateway/Value`]: "Port 1: default gateway",
    [`${port}/MAC Address/Value`]: "Port 1: MAC address",
    [`${port}/Link Enabled/Value`]: "Port 1: link",
    [`${port}/Media Type/Supported Types/Value`]: "Port 1: media types to choose from",
    [`${port}/Media Type/Current Type/Value`]: "Port 1: media type",
    [`${mirror}/DHCP/Value`]: "Meter's services: DHCP",
    [`${mirror}/IPAddress/Value`]: "Meter's services: IP address",
    [`${mirror}/SubnetMask/Value`]: "Meter's services: subnet mask",
    [`${mirror}/DefaultGateway/Value`]: "Meter's services: default gateway",
    "/VMIC/SerialNumber/Value": "Serial number",
    "/VMIC/OptionsList/Value": "Options list",
    "/VMIC/Enclosure/Value": "Enclosure type",
    "/VMC/PrimCfg/Form/Value": "Meter form",
    "/VMC/PrimCfg/ClassAmps/Value": "Class amps",
    "/VMC/PrimCfg/NomFreq/Value": "Frequency",
    "/VMIC/Options/Serial/1/Value": "Option: serial port 1",
    "/VMIC/Options/Serial/2/Value": "Option: serial port 2",
    "/VMIC/Options/Serial/3/Value": "Option: serial port 3",
    "/VMIC/Options/Ethernet/1/Value": "Option: Ethernet port 1",
    "/VMIC/Options/Ethernet/2/Value": "Option: Ethernet port 2",
    "/VMIC/Options/Ethernet/Wifi/Value": "Option: Wi-Fi",
    "/VMIC/Options/Modem/Analog/Value": "Option 3A: analog modem",
    "/VMIC/Options/Modem/CellGSM/Value": "Option 3B: GSM modem",
    "/VMIC/Options/Modem/CellSprint/Value": "Option 3C: cellular modem",
    "/VMIC/Options/Modem/CellVerison/Value": "Option 3D: cellular modem",
    "/VMIC/Options/ExternAntenna/Value": "Option 4: external antenna",
    "/VMIC/Options/CommRepeater/Value": "Option 5: communication repeater",
    "/VMIC/Options/PhoneHomeOnPowerFail/Value": "Option 6: call on power failure",
    "/VMIC/Options/IntDIO/6Ch/Value": "Option 7A: digital inputs and outputs",
    "/VMIC/Options/IntDIO/6ChwPS/Value": "Option 7B: the same with power supply",
    "/VMIC/Options/IntAO/0_1ma/Value": "Option 8A: analog output 0 to 1 mA",
    "/VMIC/Options/IntAO/4_20ma/Value": "Option 8B: analog output 4 to 20 mA",
    "/VMIC/Options/ExternIO/8ChDIO/Value": "Option 9A: external digital I/O",
    "/VMIC/Options/ExternIO/4ChAI/Value": "Option 9B: external analog inputs",
    "/VMIC/Options/ExternIO/8DIOPlus4AI/Value": "Option 9C: external digital I/O and analog inputs",
    "/VMIC/Options/Web/Value": "Option WEB: web server",
    "/VMIC/Options/IEC61850/Value": "Option IEC: IEC 61850",
    "/VMIC/Options/DLMS/Value": "Option DLMS",
    "/VMIC/Options/IB/Value": "Option IB: IRIG-B time",
    "/VMIC/Options/IEEE1588/Value": "Option IEEE: IEEE 1588 time",
    "/VMIC/Options/NTP/Value": "Option NTP: network time",
    "/VMIC/Options/PPS/Value": "Option PPS: pulse per second",
    "/VMIC/Options/DualLP/Value": "Option DLP: dual load profile",
    "/VMIC/Options/ML/Value": "Option ML: measurement logging",
    "/VMIC/Options/3P/Value": "Option THP",
    "/VMIC/Options/EAP/Value": "Option EAP",
    "/VMIC/Options/DC/Value": "Option DC",
    "/VMIC/Options/PQ/Value": "Option: power quality",
    "/VMIC/Options/PQ1/Value": "Option PQ1: logging",
    "/VMIC/Options/PQ2/Value": "Option PQ2: capture",
    "/VMIC/Options/PQ3/Value": "Option PQ3: expert",
    "/VMIC/Options/PMU/Value": "Option PMU: phasor measurement",
    "/VMIC/Options/MID/Value": "Option MID",
    "/VMF/UpdateService/SetPrimCfg/Value": "Trigger: take over form, class amps and frequency",
    "/VMF/UpdateService/OptionsUpdate/Value": "Trigger: take over the options",
    "/VMF/UpdateService/OptionChange/DualLP/Value": "Trigger: take over dual load profile",
    "/VMF/UpdateService/SetMeasLog/1/Value": "Trigger: measurement log 1",
    "/VMF/UpdateService/SetMeasLog/2/Value": "Trigger: measurement log 2",
};

const commandWords = {
    "sernetpwreset.sh > /dev/null 2>&1": "Resets all passwords to factory defaults",
    "vmkeys -m >/dev/null 2>&1": "Updates the model number",
    "rm -rf /jffs/downloads/vmconfig.*": "Removes downloaded configurations",
    "/etc/init.d/network restart > /dev/null 2>&1": "Restarts the network",
    "fw_reset.sh > /dev/null 2>&1": "Restores the factory defaults",
};

// Returns the name of a leaf for the user, or the leaf's path if there is no name.
export function leafName(path) {
    return leafWords[path] ?? path;
}

export function shownValue(value) {
    if (value === null)
        return "(no leaf)";
    if (typeof value === "boolean")
        return value ? "yes" : "no";
    return value === "" ? "(empty)" : String(value);
}

// Returns `count` and the noun `one`, in the plural if needed, such as "2 leaves".
export function counted(count, one) {
    return `${count} ${count === 1 ? one : `${one.replace(/f$/, "ve")}s`}`;
}

function troubleOf(call) {
    if (call.result !== 0)
        return `failed with result ${call.result}`;
    const statuses = call.statuses ?? (call.leaves ?? [call]).map(leaf => leaf.status);
    const others = statuses.filter(status => status !== 1).length;
    if (others === 0)
        return "";
    return call.call === "get_leaves" ? `${counted(others, "leaf")} without a value`
        : `${counted(others, "leaf")} rejected`;
}

function writtenLeaf(leaf) {
    const rejected = leaf.status === 1 ? "" : ` (status ${leaf.status})`;
    return `${leafName(leaf.path)} = ${shownValue(leaf.value)}${rejected}`;
}

function readText(call) {
    const menu = Object.keys(menuReads).find(name => menuReads[name].join() === call.paths.join());
    return readWords[menu] ?? `Reads ${counted(call.paths.length, "leaf")}`;
}

const descriptions = {
    pcd_init: call => ({
        text: call.connected ? "Connects to the store" : "Cannot connect to the store",
        trouble: call.connected ? "" : "no connection",
    }),
    pcd_close: () => ({ text: "Closes the connection to the store" }),
    get_leaves: call => ({ text: readText(call), trouble: troubleOf(call) }),
    set_leaf: call => ({ text: "Writes immediately", details: [writtenLeaf(call)], trouble: troubleOf(call) }),
    set_leaves: call => ({
        text: `Writes ${counted(call.leaves.length, "leaf")}`,
        details: call.leaves.map(writtenLeaf),
        trouble: troubleOf(call),
    }),
    clear_leaves: call => ({
        text: `Removes ${counted(call.paths.length, "leaf")}`,
        details: call.paths.map(leafName),
        trouble: troubleOf(call),
    }),
    system: call => ({
        text: commandWords[call.command] ?? "Runs a command",
        details: [call.command],
        trouble: call.result === 0 ? "" : `status ${call.result}`,
    }),
    sleep: call => ({ text: `Pauses for ${call.seconds} s` }),
};

// Returns {text, details, trouble, kind} for one line of the trace: a sentence, a list of details, the error
// or "", and the kind of call.
export function describeCall(line) {
    const call = JSON.parse(line);
    const kinds = { get_leaves: "read", set_leaf: "write", set_leaves: "write", clear_leaves: "write", system: "command" };
    return { details: [], trouble: "", kind: kinds[call.call] ?? "other", ...descriptions[call.call](call) };
}

// The faults that the user can select. `toml` is the text of a faults.toml.
export const preparedFaults = [
    { name: "Nothing is wrong", toml: "" },
    { name: "The meter cannot be reached", toml: '[[fault]]\ncall = "pcd_init"\n' },
    { name: "The store cannot be read", toml: '[[fault]]\ncall = "get_leaves"\nresult = -1\n' },
    { name: "The store cannot be read after the first screen", toml: '[[fault]]\ncall = "get_leaves"\nresult = -1\nafter = 1\n' },
    { name: "One leaf is rejected", toml: '[[fault]]\ncall = "set_leaves"\npath = "/VMIC/Enclosure/Value"\nstatus = 5\n' },
    { name: "The meter's services reject the IP address", toml: `[[fault]]\ncall = "set_leaf"\npath = "${mirror}/IPAddress/Value"\nstatus = 5\n` },
    { name: "The first save fails", toml: '[[fault]]\ncall = "set_leaves"\nresult = -1\ntimes = 1\n' },
    { name: "Every save fails", toml: '[[fault]]\ncall = "set_leaves"\nresult = -1\n' },
    { name: "The options cannot be written", toml: '[[fault]]\ncall = "set_leaves"\npath = "/VMF/UpdateService/OptionsUpdate/Value"\nresult = -1\n' },
    { name: "Values cannot be removed", toml: '[[fault]]\ncall = "clear_leaves"\nresult = -1\n' },
    { name: "The connection is lost after a factory reset", toml: '[[fault]]\ncall = "pcd_init"\nafter = 1\n' },
];

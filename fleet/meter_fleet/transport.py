"""Connects to a console through a local command, the OpenSSH client, a serial port or a terminal
server.

A link is such a connection. The link sends and receives bytes, and writes all bytes except
passwords to the transcript.
"""

from __future__ import annotations

import asyncio
import os
import signal
import socket
import termios
import time
from collections.abc import Callable

import pexpect  # type: ignore[import]

from meter_fleet.errors import Hopeless, Interrupted, LinkLost
from meter_fleet.plan import Console
from meter_fleet.record import Record

CONNECT_SECONDS = 15.0
KILL_SECONDS = 1.0  # the wait for a local command to end after a signal
END_SECONDS = 0.1  # the wait for a local command to end by itself after its last output
COLUMNS, ROWS = 200, 50  # wide enough that a shell does not wrap a typed line
MOST_RECEIVED = 1 << 22  # after this many received bytes, the connection ends
MOST_WAITING = 1 << 17  # above this number of unprocessed bytes, the link stops reading
SPAWN_PREPARATION = ("/bin/sh", "-c")

OFLAG = 1


class Stop:
    """Records whether a signal has asked meter-fleet to stop. `ask` makes this request and wakes
    all waiting links."""

    def __init__(self) -> None:
        self.asked = False
        self.wakers: set[asyncio.Event] = set()

    def ask(self) -> None:
        self.asked = True
        for waker in self.wakers:
            waker.set()


class Link:
    """A connection to a console. `leaving`: True while the session leaves the utility after a
    request to stop, so that the request no longer interrupts the link. `decode` removes the bytes
    of the telnet protocol from the input. `encode` adds the bytes of this protocol to the
    output."""

    def __init__(self, descriptor: int, record: Record, stop: Stop) -> None:
        self.descriptor = descriptor
        self.record = record
        self.stop = stop
        self.leaving = False
        self.ended = ""  # the reason why the connection ended; "" before the end
        self.paused = False
        self.count = 0
        self.incoming = bytearray()
        self.waker = asyncio.Event()
        self.decode: Callable[[bytes], bytes] = bytes
        self.encode: Callable[[bytes], bytes] = bytes
        self.child: pexpect.spawn | None = None
        self.release: Callable[[], None] = lambda: os.close(descriptor)
        os.set_blocking(descriptor, False)
        asyncio.get_running_loop().add_reader(descriptor, self.take_ready)
        stop.wakers.add(self.waker)

    def take_ready(self) -> None:
        try:
            data = os.read(self.descriptor, 65536)
        except BlockingIOError:
            return
        except OSError:  # the other side of the terminal is closed (EIO)
            data = b""
        if data:
            self.incoming += self.decode(data)
        else:
            self.end("the connection ended")
        self.count += len(data)
        if self.count > MOST_RECEIVED:
            self.end("the console does not stop writing")
        elif len(self.incoming) > MOST_WAITING:
            asyncio.get_running_loop().remove_reader(self.descriptor)
            self.paused = True
        self.waker.set()

    def end(self, reason: str) -> None:
        if not self.ended:
            self.ended = reason
            asyncio.get_running_loop().remove_reader(self.descriptor)

    def check_stop(self) -> None:
        if self.stop.asked and not self.leaving:
            raise Interrupted

    async def receive(self, seconds: float) -> bytes:
        """Waits up to `seconds` for bytes. Returns the received bytes, or b"" if no byte came.
        Raises LinkLost if the connection has ended and all received bytes were returned. Raises
        Interrupted after a request to stop."""
        self.check_stop()
        if not self.incoming and not self.ended:
            self.waker.clear()
            try:
                await asyncio.wait_for(self.waker.wait(), max(seconds, 0))
            except asyncio.TimeoutError:
                pass
            self.check_stop()
        data, self.incoming = bytes(self.incoming), bytearray()
        if self.paused and not self.ended:
            asyncio.get_running_loop().add_reader(self.descriptor, self.take_ready)
            self.paused = False
        if data:
            self.record.received(data)
        elif self.ended:
            raise LinkLost(self.ended)
        return data

    async def write(self, data: bytes) -> None:
        until = time.monotonic() + CONNECT_SECONDS
        while data:
            try:
                data = data[os.write(self.descriptor, data):]
            except BlockingIOError:
                if time.monotonic() > until:
                    raise LinkLost("the connection takes no more keys") from None
                await asyncio.sleep(0.01)
            except OSError as error:
                raise LinkLost(f"the connection ended: {error.strerror}") from None

    async def send(self, data: bytes) -> None:
        if self.ended:
            raise LinkLost(self.ended)
        self.record.sent(data)
        await self.write(self.encode(data))

    async def send_secret(self, secret: bytes) -> None:
        self.record.sent_secret(secret)
        await self.write(self.encode(secret))

    async def close(self) -> None:
        if self.waker not in self.stop.wakers:
            return
        self.stop.wakers.discard(self.waker)
        self.end("closed")
        if self.child is None:
            self.release()
        else:
            await end_child(self.child)


# -- local commands --

async def ends_within(child: pexpect.spawn, seconds: float) -> bool:
    until = time.monotonic() + seconds
    while child.isalive():
        if time.monotonic() > until:
            return False
        await asyncio.sleep(0.005)
    return True


async def end_child(child: pexpect.spawn) -> None:
    """Waits for the command to end. If the command does not end, sends SIGHUP and then SIGKILL.
    Finally closes the terminal."""
    try:
        for ask in (None, signal.SIGHUP, signal.SIGKILL):
            if ask is not None:
                os.kill(child.pid, ask)
            if await ends_within(child, END_SECONDS if ask is None else KILL_SECONDS):
                break
        child.close(force=True)
    except (OSError, pexpect.ExceptionPexpect):
        return  # the command has already ended, or no signal can end it


def write_as_it_is() -> None:
    """Runs in the new process before the command. Prevents the terminal from adding carriage
    returns to the command's output."""
    attributes = termios.tcgetattr(0)
    attributes[OFLAG] &= ~termios.OPOST
    termios.tcsetattr(0, termios.TCSANOW, attributes)


def spawn(words: list[str], record: Record, stop: Stop,
          prepare: Callable[[], None] | None = None) -> Link:
    try:
        child = pexpect.spawn(words[0], words[1:], dimensions=(ROWS, COLUMNS), preexec_fn=prepare)
    except (OSError, pexpect.ExceptionPexpect) as error:
        raise Hopeless(f"{words[0]} cannot be started: {error}") from None
    child.ptyproc.delayafterclose = 0
    child.ptyproc.delayafterterminate = 0.02
    link = Link(child.child_fd, record, stop)
    link.child = child
    return link


async def open_run(console: Console, record: Record, stop: Stop) -> Link:
    return spawn([*SPAWN_PREPARATION, console.command], record, stop, write_as_it_is)


async def open_shell(console: Console, record: Record, stop: Stop) -> Link:
    return spawn([*SPAWN_PREPARATION, console.command], record, stop)


async def open_ssh(console: Console, record: Record, stop: Stop) -> Link:
    port = ["-p", str(console.port)] if console.port else []
    return spawn(["ssh", "-tt", "-e", "none", "-o", f"ConnectTimeout={CONNECT_SECONDS:.0f}",
                  "-o", "ServerAliveInterval=15", *port, "-l", console.user, console.host],
                 record, stop)


# -- serial ports --

async def open_serial(console: Console, record: Record, stop: Stop) -> Link:
    import serial  # type: ignore[import]  # imported only here, because pyserial loads slowly

    try:
        port = serial.Serial(console.device, console.baud, timeout=0, write_timeout=0,
                             exclusive=True)
    except (OSError, ValueError) as error:
        raise Hopeless(f"{console.device} cannot be opened: {error}") from None
    link = Link(port.fileno(), record, stop)
    link.release = port.close
    return link


# -- terminal servers --

IAC, DONT, DO, WONT, WILL, SB, SE = 255, 254, 253, 252, 251, 250, 240
BINARY, ECHO, SUPPRESS_GO_AHEAD = 0, 1, 3
ANSWERS = {WILL: (DO, DONT), DO: (WILL, WONT)}  # the answers to a wanted and to any other option
WANTED = {WILL: (BINARY, ECHO, SUPPRESS_GO_AHEAD), DO: (BINARY, SUPPRESS_GO_AHEAD)}


class Telnet:
    """The part of the telnet protocol that a terminal server needs. Each offer of the server gets
    one answer. A port without telnet makes no offers, so meter-fleet sends no telnet commands to
    it."""

    def __init__(self, answer: Callable[[bytes], None]) -> None:
        self.answer = answer
        self.speaks = False
        self.command = bytearray()
        self.answered: set[tuple[int, int]] = set()
        self.after_return = False

    def negotiate(self, verb: int, option: int) -> None:
        if verb in ANSWERS and (verb, option) not in self.answered:
            self.answered.add((verb, option))
            agreed, rejected = ANSWERS[verb]
            wanted = option in WANTED[verb]
            self.answer(bytes([IAC, agreed if wanted else rejected, option]))

    def take_command(self, byte: int) -> bytes:
        """Takes one byte of a telnet command. If the command is an escaped data byte, returns this
        byte. Otherwise returns b""."""
        self.command.append(byte)
        verb = self.command[1]
        if verb == SB:
            if self.command[-2:] == bytes([IAC, SE]):
                self.command.clear()
            return b""
        if verb in (WILL, WONT, DO, DONT):
            if len(self.command) == 3:
                self.speaks = True
                self.negotiate(verb, byte)
                self.command.clear()
            return b""
        self.command.clear()
        return bytes([IAC]) if verb == IAC else b""

    def decode(self, data: bytes) -> bytes:
        taken = bytearray()
        for byte in data:
            if self.command:
                taken += self.take_command(byte)
            elif byte == IAC:
                self.command.append(byte)
            elif not (byte == 0 and self.after_return):
                taken.append(byte)
            self.after_return = byte == 0x0D
        return bytes(taken)

    def encode(self, data: bytes) -> bytes:
        if not self.speaks:
            return data
        data = data.replace(b"\xff", b"\xff\xff")
        # Outside binary mode, telnet requires a zero byte after a carriage return.
        return data if (DO, BINARY) in self.answered else data.replace(b"\r", b"\r\0")


async def connect(host: str, port: int) -> socket.socket:
    loop = asyncio.get_running_loop()
    problem = OSError("no address")
    for family, kind, protocol, _, address in await loop.getaddrinfo(
            host, port, type=socket.SOCK_STREAM):
        connection = socket.socket(family, kind, protocol)
        connection.setblocking(False)
        try:
            await loop.sock_connect(connection, address)
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            return connection
        except OSError as error:
            connection.close()
            problem = error
    raise problem


async def open_telnet(console: Console, record: Record, stop: Stop) -> Link:
    where = f"{console.host}:{console.port}"
    try:
        connection = await asyncio.wait_for(connect(console.host, console.port), CONNECT_SECONDS)
    except asyncio.TimeoutError:
        raise LinkLost(f"{where} does not answer") from None
    except OSError as error:
        raise LinkLost(f"{where} cannot be reached: {error.strerror or error}") from None
    link = Link(connection.fileno(), record, stop)
    link.release = connection.close
    telnet = Telnet(lambda answer: void(os.write(link.descriptor, answer)))
    link.decode, link.encode = telnet.decode, telnet.encode
    return link


def void(_: object) -> None:
    """Discards a value, so that a callback returns None."""


OPEN = {"run": open_run, "shell": open_shell, "ssh": open_ssh, "serial": open_serial,
        "telnet": open_telnet}


async def open_link(console: Console, record: Record, stop: Stop) -> Link:
    """Connects to the console. Raises LinkLost with the reason if the console cannot be reached."""
    record.note(f"opening {console.text}")
    return await OPEN[console.kind](console, record, stop)

"""Connects to a console: through a local command, the OpenSSH client, a serial port or a terminal
server.

A link sends and receives bytes and writes all of them to the record.
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
MOST_RECEIVED = 1 << 22  # the maximum number of bytes from one connection
MOST_WAITING = 1 << 17  # the maximum number of received bytes that have not been read
SPAWN_PREPARATION = ("/bin/sh", "-c")

OFLAG = 1


class Stop:
    """The request of a signal to stop the work on all links."""

    def __init__(self) -> None:
        self.asked = False
        self.wakers: set[asyncio.Event] = set()

    def ask(self) -> None:
        self.asked = True
        for waker in self.wakers:
            waker.set()


class Link:
    """`leaving`: True if a request to stop no longer interrupts. `decode` removes the bytes of the
    protocol from the input. `encode` adds them to the output."""

    def __init__(self, descriptor: int, record: Record, stop: Stop) -> None:
        self.descriptor = descriptor
        self.record = record
        self.stop = stop
        self.leaving = False
        self.ended = ""  # the reason for the end of the connection; "" while it exists
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
        """Waits up to `seconds` for bytes. Returns the bytes, or b"" if none came. After the last
        byte of a connection that ended, raises LinkLost. After a request to stop, raises
        Interrupted."""
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
    """Closes the terminal, which sends the command a hang-up. Kills a command that still does not
    end."""
    try:
        for ask in (None, signal.SIGHUP, signal.SIGKILL):
            if ask is not None:
                os.kill(child.pid, ask)
            if await ends_within(child, END_SECONDS if ask is None else KILL_SECONDS):
                break
        child.close(force=True)
    except (OSError, pexpect.ExceptionPexpect):
        return  # the command has ended, or the system will end it later


def write_as_it_is() -> None:
    """Runs in the new process. Prevents the terminal from adding carriage returns to the output."""
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
    import serial  # type: ignore[import]  # imported only here, because it loads slowly

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
ANSWERS = {WILL: (DO, DONT), DO: (WILL, WONT)}  # the answers to a wanted option and to any other
WANTED = {WILL: (BINARY, ECHO, SUPPRESS_GO_AHEAD), DO: (BINARY, SUPPRESS_GO_AHEAD)}


class Telnet:
    """The part of the telnet protocol that a terminal server needs: each offer gets one answer. A
    port without telnet sends no offers, so it gets no answers."""

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
        """Takes one byte of a command. Returns a data byte if the command stands for one."""
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
        # In binary mode, a carriage return is not followed by a zero byte.
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
    """Does nothing, for callers that need a callback."""


OPEN = {"run": open_run, "shell": open_shell, "ssh": open_ssh, "serial": open_serial,
        "telnet": open_telnet}


async def open_link(console: Console, record: Record, stop: Stop) -> Link:
    """Raises LinkLost with the reason if the console cannot be reached."""
    record.note(f"opening {console.text}")
    return await OPEN[console.kind](console, record, stop)

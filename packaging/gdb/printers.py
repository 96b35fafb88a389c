# SPDX-License-Identifier: MIT
"""How gdb shows the library's values. Reads memory only: works on programs and on core files.

A value may be uninitialised, optimised out or gone, so nothing that is read is believed: lengths are
limited, and what cannot be read is shown as "<unreadable>".
"""

import datetime
import functools
import math

import gdb
import gdb.printing

SHOWN_CHARACTERS = 200
PLAUSIBLE_MEMBERS = 1 << 20
UNREADABLE = "<unreadable>"
NO_SYMBOLS = "<needs the debug symbols of the library>"


class Implausible(Exception):
    """What was read cannot be a value of its type."""


def guarded(function):
    """What the function returns, or "<unreadable>"."""

    @functools.wraps(function)
    def call(*arguments):
        try:
            return function(*arguments)
        except (gdb.error, Implausible, ValueError, OverflowError, UnicodeError):
            return UNREADABLE

    return call


def read_text(address, size):
    """The characters, cut to SHOWN_CHARACTERS."""
    size = int(size)
    if size < 0 or size >= 1 << 32 or (size > 0 and int(address) == 0):
        raise Implausible()
    shown = min(size, SHOWN_CHARACTERS)
    memory = bytes(gdb.selected_inferior().read_memory(int(address), shown)) if shown else b""
    text = memory.decode("utf-8", "replace")
    text = "".join(c if c.isprintable() else "\\x%02x" % ord(c) for c in text)
    return text + ("..." if shown < size else "")


def read_string(value):
    """The characters of a std::string."""
    return read_text(value["_M_dataplus"]["_M_p"], value["_M_string_length"])


def first_pointer(value):
    """The pointer in a smart pointer."""
    kind = value.type.strip_typedefs()
    if kind.code == gdb.TYPE_CODE_PTR:
        return value
    if kind.code != gdb.TYPE_CODE_STRUCT:
        return None
    for field in kind.fields():
        if not hasattr(field, "bitpos"):
            continue
        found = first_pointer(value[field])
        if found is not None:
            return found
    return None


def elements(vector):
    """The elements of a std::vector."""
    begin = vector["_M_impl"]["_M_start"]
    end = vector["_M_impl"]["_M_finish"]
    size = begin.type.strip_typedefs().target().sizeof
    distance = int(end) - int(begin)
    if distance < 0 or distance % size != 0 or distance // size > PLAUSIBLE_MEMBERS:
        raise Implausible()
    return [(begin + i).dereference() for i in range(distance // size)]


def enumerator(value):
    """The last word of an enumerator's name."""
    return str(value).rsplit("::", 1)[-1]


class Printer:
    def __init__(self, value):
        references = (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF)
        self.value = value.referenced_value() if value.type.code in references else value


class UuidPrinter(Printer):
    """The canonical text."""

    @guarded
    def to_string(self):
        # Both that it may point to begin with the 16 bytes.
        place = int(first_pointer(self.value["values_"])) or int(self.value["constant_"])
        if place == 0:
            raise Implausible()
        digits = bytes(gdb.selected_inferior().read_memory(place, 16)).hex()
        return "-".join((digits[:8], digits[8:12], digits[12:16], digits[16:20], digits[20:]))


def unix_time(seconds):
    if math.isnan(seconds):
        raise Implausible()
    if seconds < 0:
        return "undefined"
    if seconds >= 4294967295:
        return "infinite"
    whole = datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=int(seconds))
    return "%sZ (%s)" % (whole.isoformat(), ("%.6f" % seconds).rstrip("0").rstrip("."))


class UnixTimePrinter(Printer):
    """Calendar and seconds."""

    @guarded
    def to_string(self):
        return unix_time(float(self.value["seconds_"]))


class SecondsDurationPrinter(Printer):
    """Seconds."""

    @guarded
    def to_string(self):
        seconds = int(self.value["seconds_"])
        return "infinite" if seconds == 0xFFFFFFFF else "%d s" % seconds


class DeserializerPrinter(Printer):
    """Type, name and text of a node, and its members."""

    TYPES = ("undefined", "value", "object", "array")

    @guarded
    def to_string(self):
        kind = int(self.value["type_"])
        if kind >= len(self.TYPES):
            raise Implausible()
        parts = [self.TYPES[kind]]
        if int(self.value["name_"]["size"]) != 0:
            name = read_text(self.value["name_"]["data"], self.value["name_"]["size"])
            parts.append('"%s"' % name)
        if kind >= 2:
            parts.append("of %d" % len(elements(self.value["members_"])))
        if kind >= 1:
            parts.append(read_text(self.value["value"]["data"], self.value["value"]["size"]))
        return " ".join(parts)

    def children(self):
        try:
            if int(self.value["type_"]) not in (2, 3):
                return
            members = elements(self.value["members_"])
        except (gdb.error, Implausible):
            return
        for index, member in enumerate(members):
            yield "[%d]" % index, member


class SerializerPrinter(Printer):
    """The text so far."""

    @guarded
    def to_string(self):
        state = "finalized" if self.value["finalized_"] else "unfinished"
        output = self.value["output_"]
        if int(output) == 0:
            raise Implausible()
        return "%s: %s" % (state, read_string(output.dereference()))


class ExecutablePrinter(Printer):
    """Status, process and command line."""

    @guarded
    def to_string(self):
        # Which fields there are is told by the library's debug symbols alone.
        if not self.value.type.strip_typedefs().fields():
            return NO_SYMBOLS
        state = first_pointer(self.value["state_"])
        if not state.type.target().strip_typedefs().fields():
            return NO_SYMBOLS
        if int(state) == 0:
            raise Implausible()
        state = state.dereference()
        parts = [enumerator(state["status"]["_M_i"])]
        pid = int(state["child"]["id_"])
        if pid > 0:
            parts.append("pid %d" % pid)
        code = state["exitCode"]["_M_payload"]
        if code["_M_engaged"]:
            parts.append("exit code %d" % int(code["_M_payload"]["_M_value"]))
        words = ['"%s"' % read_string(word) for word in elements(state["arguments"])]
        return "%s: %s" % (", ".join(parts), " ".join(words))


class CommunicationStatusPrinter(Printer):
    """State, time and reason."""

    @guarded
    def to_string(self):
        return "%s since %s, reason %s" % (
            enumerator(self.value["state_"]),
            unix_time(float(self.value["since_"]["seconds_"])),
            enumerator(self.value["reason_"]),
        )


def collection():
    printers = gdb.printing.RegexpCollectionPrettyPrinter("libvorn-gw-common")
    for name, printer in (
        ("Uuid", UuidPrinter),
        ("time::UnixTime", UnixTimePrinter),
        ("time::SecondsDuration", SecondsDurationPrinter),
        ("lwjson::Deserializer", DeserializerPrinter),
        ("lwjson::Serializer", SerializerPrinter),
        ("executable::Executable", ExecutablePrinter),
        ("executable::Script", ExecutablePrinter),
        ("communication::CommunicationStatus", CommunicationStatusPrinter),
    ):
        printers.add_printer(name, "^vorn::common::%s$" % name, printer)
    return printers


gdb.printing.register_pretty_printer(gdb.current_objfile(), collection(), replace=True)

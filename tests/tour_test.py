#!/usr/bin/env python3
"""tour_test.py BUILD TOUR: what the tour has left. Its capture: tshark finds nothing wrong with it, shows
every packet of the catalogue, and the packets that the phone has logged, with their sizes and fields; its
streams are the bytes that the library has dumped; played back it gives the host the callbacks that the head
unit has logged, and the same at every run. Its logs: both were told what they were to be told. Its
screenshots: each is a screen that the phone drew."""
import json
import re
import struct
import subprocess
import sys
import zlib
from collections import defaultdict
from pathlib import Path

build, tour = map(Path, sys.argv[1:])
WARNING = 0x600000  # of tshark: comments, chats and notes are below
UNDER_WAY = 20  # so much at the end may be known to one side alone


def fail(*what):
    sys.exit("tour: " + " ".join(map(str, what)))


def output(*command):
    done = subprocess.run(list(map(str, command)), capture_output=True, encoding="utf-8")
    said = re.sub("Running as user.*\n", "", done.stderr)
    # The head unit hangs up in the middle of whatever comes.
    said, cut = re.subn(".*: the capture ends inside a packet, .*\n", "", said)
    if done.returncode != cut or said:
        fail(*command, "ends with", done.returncode, said, done.stdout[-500:])
    return done.stdout


def tshark(*options):
    return output("tshark", "-X", f"lua_script:{build}/tools/quarlo.lua", "-r", tour / "tour.pcapng", "-o",
                  "tcp.check_checksum:TRUE", "-o", "ip.check_checksum:TRUE", *options)


def pairs(what, ours, theirs):
    if min(len(ours), len(theirs)) < 50 or abs(len(ours) - len(theirs)) > UNDER_WAY:
        fail(what, len(ours), "and", len(theirs))
    return zip(ours, theirs)


def leaves(tree):
    for name, value in tree.items():
        for one in value if isinstance(value, list) else [value]:
            yield from leaves(one) if isinstance(one, dict) else [(name, one)]


TOKEN = re.compile(r'(?P<name>\w+)=|(?P<open>{)|(?P<close>})|(?P<bytes>\d+) bytes'
                   r'|(?P<number>-?\d+)( \(\w*\))?|"(?P<text>.*?)"(?=[}\]]*(, (\w+=|{)|$))|[][, ]')


def fields_of(text):
    """{path: [values]} of a logged packet, the paths as the dissector forms them; None is any number."""
    fields, outer, name, at = defaultdict(list), [], "", 0
    while at < len(text):
        token = TOKEN.match(text, at) or fail("cannot read", text[at:], "of", text)
        at = token.end()
        if token["name"]:
            name = re.sub("^(p|pa|arr)(?=[A-Z])", "", token["name"]).lower()
        elif token["open"]:
            outer.append(name)
        elif token["close"]:
            name = outer.pop()
        elif token["bytes"]:  # of pixels not more than 64 are shown
            fields[".".join(outer + [name])] += [None] * min(int(token["bytes"]), 64)
        elif token["number"] or token["text"] is not None:
            value = int(token["number"]) if token["number"] else token["text"]
            fields[".".join(outer + [name])].append(value)
    return fields


def agree(logged, shown):
    if not isinstance(logged[0], str):
        shown = [number for one in shown for number in one.split(":")[:64]]
        logged = [one if one is None else (str(one), f"{one:02x}", f"0x{one:08x}") for one in logged]
    else:
        logged = [(one, one.encode().hex(":")) for one in logged]
    return len(logged) == len(shown) and all(one is None or other in one for one, other in zip(logged, shown))


def check_packets():
    for line in tshark("-T", "fields", "-e", "frame.number", "-e", "_ws.expert.severity", "-e",
                       "_ws.expert.message").splitlines():
        if any(int(one) >= WARNING for one in line.split("\t")[1].split(",") if one):
            fail("something is wrong:", line)
    shown, logged, compared = ([], []), ([], []), 0
    for frame in json.loads(tshark("-Y", "quarlo", "-T", "json", "-J", "quarlo", "--no-duplicate-keys")):
        layer = frame["_source"]["layers"]["quarlo"]
        for packet in layer if isinstance(layer, list) else [layer]:
            shown[int(packet["quarlo.direction"])].append(packet)
    log = (tour / "phone.log").read_text()
    for arrow, *packet in re.findall(r"(<-|->) (\w+), (\d+) bytes(?:: (.*))?", log):
        logged[arrow == "->"].append(packet)
    for direction in 0, 1:
        for (name, size, text), packet in pairs("packets:", logged[direction], shown[direction]):
            path, values = "quarlo." + name.lower(), defaultdict(list)
            if path not in packet or int(size) != int(packet["quarlo.length"]) + 9:
                fail("logged is", name, size, "and shown", packet)
            for field, value in leaves(packet):
                values[field].append(value)
            for field, value in fields_of(text).items():
                if not agree(value, values[f"{path}.{field}"]):
                    fail(name, field, "is logged as", value, "and shown as", values[f"{path}.{field}"])
                compared += 1
    known = re.findall(r"(?m)^\| \d+ \| \[(\w+)\]", Path("docs/wire.md").read_text())
    missing = {"quarlo." + name.lower() for name in known}.difference(*shown[0], *shown[1])
    if missing or not known:
        fail("packets are missing:", missing)
    return f"{len(shown[0] + shown[1])} packets with {compared} fields"


def check_bytes():
    """The dump has both directions in one, piece by piece, and of threads that send at once not always the
    one first that is first on the way."""
    dump, sides, at = (tour / "tour.dump").read_bytes(), ([], []), 0
    for piece in re.findall("(?m)^\t?(?:[0-9a-f]{2})+$", tshark("-q", "-z", "follow,tcp,raw,0")):
        sides[piece[0] == "\t"].append(bytes.fromhex(piece))
    total = [sum(map(len, side)) for side in sides]
    while any(sides):
        fitting = ((side, piece) for side, ahead in zip(sides, (8, 1)) for piece in side[:ahead]
                   if dump.startswith(piece, at))
        side, piece = next(fitting, (None, None))
        if side is None:
            if at == len(dump) and len(sides[0] + sides[1]) <= UNDER_WAY:
                break
            fail("the streams of", total, "bytes differ from the dump at its byte", at)
        side.remove(piece)
        at += len(piece)
    if min(total) < 5000 or len(dump) - at > 1000:
        fail("the streams have", total, "bytes and the dump", len(dump))
    return f"{total[0]} and {total[1]} bytes"


# What the head unit logs of each callback; behind a blank at the end follows more.
LOGGED = {
    "Protocol": "protocol state {state}",
    "Error": "error {code}",
    "FrameUpdateStart": "update of {numberOfRectangles} rectangles",
    "FrameUpdate": "  rectangle {rectangleIndex} at ({x}, {y}) of {width} x {height}, {dataLength} bytes",
    "FrameUpdateEnd": "end of update ",
    "BlockStatus": "block {isOn}",
    "AppInactive": "inactive {isOn}",
    "PhonecallStatus": "call-status {isOn}",
    "AppTransitionStatus": "transition {isOn}",
    "PTTAvailable": "ptt {isOn}",
    "LauncherState": "launcher {state}",
    "VehicleDataRequest": "vehicle-data {isOn} {keys}",
    "AudioRequest": "audio {command} {requestID} {type}",
    "InitiatePhoneCall": 'call "{number}" "{displayName}"',
    "NavigateTo": 'navigate "{displayName}" {type} ',
    "VoiceSessionRequest": "voice {request}",
    "AppListChanged": "app-list changed",
    "AppIconResponse": 'icon "{icon[IdentifierURL]}" icon {icon[UniqueIconID]}, '
                       "{icon[uncompressedDataLength]} bytes, ",
    "AppStartedResponse": 'app-started "{identifierURL}" {status}',
    "CustomDataString": 'custom-string {type} "{text}"',
    "CustomDataInt": "custom-int {type} ",
    "CustomDataKey": "custom-key {code} {type}",
    "CustomDataCan": "custom-can {type} identifier 0x{identifier:X}: ",
    "CustomDataRaw": "custom-raw {opcode} 0x{identifier:03X}, {length} bytes: ",
}
APP = ('app "{IdentifierURL}" "{Name}" icon {UniqueIconID} by "{Manufacturer}": "{Description}" {InstStatus} '
       "language {arrLanguage} categories {Categories}")


def is_logged(event, line):
    given = {"isOn": ("off", "on")[event.get("isOn", 0)], "keys": " ".join(map(str, event.get("keys", [])))}
    text = LOGGED[event["event"]].format(**{**event, **given})
    if line != text and not (text.endswith(" ") and line.startswith(text)):
        return False
    rest, data = line[len(text):], event.get("value") or event.get("data")
    if event["event"].startswith("CustomData") and data:
        is_number = "value" in event
        octets = (int(rest).to_bytes(data["size"], "little") if is_number
                  else bytes.fromhex(rest.split(",")[0]))
        return f"{zlib.crc32(octets):08x}" == data["crc32"]
    place = [f'"{one}"' for one in (event.get("location") or {}).values() if isinstance(one, str)]
    if event.get("longitude"):
        place.append("longitude {longitude:.6f} latitude {latitude:.6f}".format(**event))
    return all(part in rest for part in place)


def check_callbacks():
    replay = [build / "tools/quarlo-replay", tour / "tour.pcapng"]
    first = output(*replay)
    if output(*replay) != first:
        fail("two runs differ")
    if "Difference" in (compared := output(*replay, "--compare")):
        fail("the library answers otherwise:", compared)
    events = [json.loads(line) for line in first.splitlines()]
    lists = [event["apps"] for event in events if event["event"] == "AppList"]
    # No timer fires in a replay: what the library gave back when its time was over is not in it.
    log = (tour / "headunit.log").read_text()
    log = re.sub(r"(WRN +audio timeout\n(?:.*\n)*?).*CALL  audio Release.*\n", r"\1", log)
    told = re.findall(r"(?m) CALL  (?!receiver thread|phone |softkeys |apps |app )(.*)$", log)
    played = [event for event in events if event["event"] not in ("AppList", "End")]
    for line, event in pairs("callbacks:", told, played):
        if not is_logged(event, line):
            fail("the host has logged", line, "and the replay", event)
    apps = [APP.format(**{**app, "Categories": " ".join(map(str, app["Categories"]))}) for app in lists[-1]]
    if not apps or apps != re.findall("(?m) CALL  (app .*)$", log):
        fail("other apps:", apps)
    return f"{len(played)} callbacks"


# The ends of lines of the head unit's log, in their order.
HEARD = """
phone "quarlo phone" on "Linux", launcher "6f1c7a52-3d0e-4b8e-9a54-0c2b7de1f3a8", can EnableAudioHandling,EnableAppStart
softkeys Home Back Menu Search
apps 9
app "quarlo://app/voice" "Assistant" icon 8 by "quarlo": "Assistant of the simulated phone" Executable language eng \
categories 1
icon "quarlo://app/music" icon 3, 65536 bytes, written to icon-3.png
call "+4615550101" "Ada Lindqvist"
navigate "Home" Both longitude 11.576124 latitude 48.137154 country "Germany", zip "80331", city "München", \
street "Seestraße", number "7"
navigate "Lake view point" PositionOnly longitude 11.100000 latitude 48.200000
navigate "Paper Lantern Café" PlacemarkOnly country "France", zip "67000", city "Strasbourg", \
street "Rue du Lac", number "3"
audio Release 1 Announcement
voice EndUserEvent
custom-string BTName "quarlo phone"
custom-int BatteryLevel 70
custom-key VolumeUp Click
custom-can CanAmbientlight identifier 0x230: FF 80 20
custom-raw StorePersistent 0x042, 6 bytes: 71 75 61 72 6C 6F, kept
custom-raw GetPersistent 0x042, 0 bytes: , answered
custom-raw DeletePersistent 0x042, 0 bytes: , forgotten
custom-raw DeleteHost 0x042, 0 bytes: , forgotten"""
# The phone's.
TOLD = """
PositionInformation, 77 bytes: NMEA="$GPGGA,123519,4808.230,N,01134.600,E,1,08,0.9,545.4,M,46.9,M,,*41"
ClientSettings, 12 bytes: arrLanguage="deu"
SetBlockMode, 10 bytes: ModeToSet=2 (DenyAll)
PhoneCallStatusResponse, 10 bytes: Status=3 (Active)
SetPixelFormat, 12 bytes: Format=2 (RGB565), Endianess=1 (BigEndian), BytesPerPixel=2
OverrideCompression, 13 bytes: Compression=1"""


def check_logs():
    for name, begin, wanted in ("headunit.log", " CALL  ", HEARD), ("phone.log", " <- ", TOLD):
        log, at = (tour / name).read_text(), 0
        for wrong in re.findall("(?m)^.*(?: ERR |problem|ignored|malformed).*$", log):
            fail(name, "has", wrong)
        for line in wanted.strip().splitlines():
            if (at := log.find(f"{begin}{line}\n", at)) < 0:
                fail(name, "does not have in its place", line)
    return "logs"


def check_pictures():
    """What is equal pixel by pixel is so as a file too."""
    drawn = {file.read_bytes() for file in (tour / "phone").iterdir()}
    shots = {file.stem: file for file in tour.glob("[0-9]*.png")}
    sizes = {stem: struct.unpack(">II", file.read_bytes()[16:24]) for stem, file in shots.items()}
    if len(shots) != 22 or sizes["19-smaller"] != (800, 480) or sizes["21-upright"] != (480, 800):
        fail("other pictures:", sizes)
    for file in shots.values():
        if file.read_bytes() not in drawn:
            fail("nobody drew", file)
    return f"{len(shots)} pictures"


checks = check_packets, check_bytes, check_callbacks, check_logs, check_pictures
print("tour:", ", ".join(check() for check in checks))

#!/usr/bin/python3
"""Tags through the plug-in (driven by wavehost, as a host drives it) against
independent tools: mutagen for ID3v2, ffprobe for LIST/INFO and bext, ffmpeg
for the audio, a chunk walk of our own for the chunks that must keep their bytes.
Files as mutagen, ffmpeg and sox write them (and as taggers leave them: an
INFO list and an ID3v2 chunk appended twice, an empty ID3v2 chunk) read as
those tools read them, then go through a write of one tag and a delete-all:
other chunks, audio and every tag the write did not name stay. Our own writes
show the full date, the picture with its description, several artists and
text beyond ISO-8859-1.

usage: tags_vs_independent.py WAVEHOST [RUNNER...]"""
import json
import os
import struct
import tempfile

from mutagen.id3 import APIC, COMM, ID3, TALB, TCON, TDRC, TIT2, TPE1, TPE2, TXXX, USLT
from mutagen.wave import WAVE

from checks import Checks, append_chunk, audio_md5, chunk, chunks, ffmpeg_wav, host, metadata, probe_tags, run, write

checks = Checks()
expect = checks.expect
PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256))  # smaller than the JPEG: mutagen writes it first
JPEG = b"\xff\xd8\xff\xe0" + bytes(300)
CUE = struct.pack("<I", 1) + struct.pack("<II4sIII", 1, 0, b"data", 0, 0, 4410)
TAG_CHUNKS = {"id3 ", "ID3 ", "bext", "JUNK", "PAD "}
ARTISTS = {True: ["Alpha", "Beta"], False: ["\u5c71\u7530", "Smith"]}  # by whether Latin-1 holds the tags


def host_tags(path):
    return {t["name"]: t for t in json.loads(host("tags", path, "--json", check=True).stdout.decode("utf-8"))["tags"]}


def host_texts(tags, *names):
    return [tags[n]["values"] if n in tags and tags[n]["type"] == "text" else None for n in names]


def picture(tags, name):
    return tags.get(name, {}).get("mime"), tags.get(name, {}).get("size")


def texts(path, *ids):
    """What mutagen reads from the frames, as text."""
    tags = WAVE(path).tags
    return [[str(t) for t in tags[i].text] if tags and i in tags else None for i in ids]


def untagged(path):
    """The chunks that hold no tags, in order."""
    return [(c, d) for c, d in chunks(path) if c not in TAG_CHUNKS and not (c == "LIST" and d[:4] == b"INFO")]


def frames(path):
    """What each frame but the title says, whatever encoding holds it; several texts as ID3v2.3 joins them."""
    tags = WAVE(path).tags
    return {} if tags is None else {k: ("/".join(str(t) for t in getattr(v, "text", [])), getattr(v, "desc", None),
                                        getattr(v, "type", None), getattr(v, "data", None))
                                    for k, v in tags.items() if k[:4] != "TIT2"}


def keeps(what, path, audio):
    expect(f"{what}: audio and cue kept", (audio_md5(path), chunk(path, "cue ")), (audio, CUE))


def id3_chunks(path):
    return [c for c, d in chunks(path) if c in ("ID3 ", "id3 ")]


def info_list(**fields):
    return b"INFO" + b"".join(k.encode() + struct.pack("<I", len(v) + 1) + v.encode() + b"\0" * (2 - (len(v) & 1))
                              for k, v in fields.items())


def mutagen_wav(path, version, encoding, *ffmpeg_extra):
    """With a LIST whose title the ID3v2 title must win over, and an album it must leave."""
    ffmpeg_wav(path, *(ffmpeg_extra or metadata(title="LIST title", album="LIST album")))
    wav = WAVE(path)
    wav.add_tags()
    latin = encoding == 0
    for frame in (TIT2(text=["Caf\u00e9 del Mar" if latin else "\u6771\u4eac \u00e9t\u00e9"]),
                  TPE1(text=ARTISTS[latin]), TPE2(text=["AC/DC"]),
                  TCON(text=["17"]), TDRC(text=["1999-12-31"]), COMM(lang="eng", desc="", text=["Comment \u00fc"]),
                  USLT(lang="eng", desc="", text="Line one\nLine two"),
                  TXXX(desc="replaygain_track_gain", text=["-6.50 dB"]),
                  APIC(mime="image/png", type=3, desc="Sleeve \u00e9", data=PNG),
                  APIC(mime="image/jpeg", type=4, desc="", data=JPEG)):
        frame.encoding = encoding
        wav.tags.add(frame)
    wav.save(v2_version=version)


def appending_tagger(path):
    """A first INFO list and ID3v2 tag, then a second of each with other values appended later."""
    mutagen_wav(path, 3, 1, *metadata(title="First list", artist="First artist"))
    wav = WAVE(path)
    wav.tags.add(TALB(encoding=1, text=["Album \u263a"]))
    wav.save(v2_version=3)
    append_chunk(path, b"LIST", info_list(INAM="Stale title", IART="Stale artist"))
    second = ID3()
    second.add(TIT2(encoding=1, text=["Stale id3 title"]))
    second.add(TALB(encoding=1, text=["Stale album"]))
    with tempfile.NamedTemporaryFile() as f:
        second.save(f.name, v2_version=3)
        append_chunk(path, b"id3 ", f.read())


FIXTURES = {
    "ffmpeg LIST": lambda p: ffmpeg_wav(p, *metadata(title="From ffmpeg", artist="Encoder", date=2010, comment="Note")),
    "ffmpeg bext": lambda p: ffmpeg_wav(p, "-write_bext", 1, *metadata(description="Take 3", originator="Desk 4",
                                                                       origination_date="2020-02-03")),
    "sox": lambda p: (run("sox", "-n", "-r", 44100, "-c", 2, "-b", 16, p, "synth", 0.3, "sine", 440),
                      append_chunk(p, b"LIST", info_list(ICMT="Made by sox", IART="Sox Artist"))),
    "mutagen 2.3 UTF-16": lambda p: mutagen_wav(p, 3, 1),
    "mutagen 2.4 Latin-1": lambda p: mutagen_wav(p, 4, 0),
    "mutagen 2.4 UTF-8": lambda p: mutagen_wav(p, 4, 3),
    "appended twice": appending_tagger,
    "empty ID3": lambda p: (ffmpeg_wav(p, *metadata(title="From ffmpeg")), append_chunk(p, b"ID3 ", b"")),
}

with tempfile.TemporaryDirectory() as work:
    os.environ["XDG_CONFIG_HOME"] = os.path.join(work, "config")  # default tagging settings
    for name, make in FIXTURES.items():
        path = os.path.join(work, name.replace(" ", "_") + ".wav")
        make(path)
        if name.startswith("mutagen"):
            back, tags = WAVE(path).tags, host_tags(path)  # what mutagen itself reads, what we read
            expect(f"{name}: read", host_texts(tags, "Title", "Artist", "Album Artist", "Genre", "Comment", "Lyrics",
                                               "replaygain_track_gain", "Album"),
                   [list(back["TIT2"].text), ARTISTS[name.endswith("Latin-1")], ["AC/DC"], ["Rock"],
                    [back["COMM::eng"].text[0]], [back["USLT::eng"].text], ["-6.50 dB"], ["LIST album"]])
            expect(f"{name}: covers, fmt marker",
                   (picture(tags, "_albumart_1_Front Album Cover<subdesc>Sleeve \u00e9"),
                    picture(tags, "_albumart_2_Back Album Cover"), tags.get("_riff_fmt ", {}).get("size")),
                   (("image/png", len(PNG)), ("image/jpeg", len(JPEG)), 4))
        audio, kept, others, probe = audio_md5(path), untagged(path), frames(path), probe_tags(path, ("title",))
        twice = name == "appended twice"
        if twice:
            # The first of each chunk wins on reading; the stale second ones must not outlive a write.
            del others["TALB"]
        r = host("tag", path, "Title=Changed \u00e9")
        expect(f"{name}: tag", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
        expect(f"{name}: chunks kept", untagged(path), kept)
        expect(f"{name}: audio", audio_md5(path), audio)
        expect(f"{name}: mutagen title, one ID3v2 chunk", (str(WAVE(path).tags["TIT2"]), len(id3_chunks(path))),
               ("Changed \u00e9", 1))
        # Frames the file had keep their values; a file without ID3v2 gains one holding all its tags.
        expect(f"{name}: mutagen others", {k: v for k, v in frames(path).items() if k in others}, others)
        if not twice and all(str(v).isascii() for v in probe.values()):
            # ffprobe prefers an INFO list, whose text is in the ANSI code page it does not assume.
            expect(f"{name}: ffprobe others", {k: v for k, v in probe_tags(path).items() if k in probe}, probe)
        if twice:
            infos = [d for c, d in chunks(path) if c == "LIST" and d[:4] == b"INFO"]
            expect(f"{name}: one INFO list, one ID3v2 chunk, stale album gone",
                   (len(infos), id3_chunks(path), str(WAVE(path).tags["TALB"])), (1, ["id3 "], "Album \u263a"))
        expect(f"{name}: untag", host("untag", path).returncode, 0)
        expect(f"{name}: no ID3v2 after untag", (id3_chunks(path), WAVE(path).tags), ([], None))
        expect(f"{name}: chunks kept after untag", untagged(path), kept)
        expect(f"{name}: audio after untag", audio_md5(path), audio)

    # ffmpeg: LIST/INFO and bext, compared with what ffprobe reads; ffmpeg writes their text in UTF-8.
    path = os.path.join(work, "ffmpeg-bext.wav")
    meta = {"title": "Gr\u00fc\u00dfe aus K\u00f6ln", "artist": "\u6771\u4eac Ff artist", "album": "Ff album",
            "comment": "Ff comment", "genre": "Jazz", "date": "2021", "copyright": "Ff copyright"}
    bext = {"description": "Bext description f\u00fcr K\u00f6ln\r\nsecond line", "originator": "Bext originator",
            "origination_date": "2021-02-03", "origination_time": "04:05:06", "time_reference": "441000",
            "coding_history": "A=PCM,F=48000,W=16,M=mono\r\nA=PCM,F=44100,W=24,M=mono\r\n"}
    ffmpeg_wav(path, "-write_bext", 1, *metadata(**meta, **bext))
    probe = probe_tags(path)
    pairs = (("Title", "title"), ("Artist", "artist"), ("Album", "album"), ("Comment", "comment"), ("Genre", "genre"),
             ("Year", "date"), ("Copyright", "copyright"), ("TimeReference", "time_reference"),
             ("CodingHistory", "coding_history"), ("Originator", "encoded_by"), ("OrigTime", "creation_time"))
    tags = host_tags(path)
    for ours, theirs in pairs:
        expect(f"ffmpeg {ours}", host_texts(tags, ours), [[probe[theirs]]])
    expect("ffmpeg Description, OrigDate", host_texts(tags, "Description", "OrigDate"),
           [[bext["description"]], [bext["origination_date"]]])
    # For a person, the lines of a value stand under its first line.
    for command, indent in (("tags", ""), ("info", "  ")):
        lines = host(command, path, check=True).stdout.decode().splitlines()
        for key, first, second in (("Description", "Bext description f\u00fcr K\u00f6ln", "second line"),
                                   ("CodingHistory", "A=PCM,F=48000,W=16,M=mono", "A=PCM,F=44100,W=24,M=mono")):
            at = next((i for i, line in enumerate(lines) if line.startswith(f"{indent}{key}: ")), len(lines))
            expect(f"{indent!r} {key} lines", lines[at:at + 2],
                   [f"{indent}{key}: {first}", indent + " " * (len(key) + 2) + second])
        # Its closing line break prints no blank line.
        expect(f"{indent!r} after the coding history", lines[at + 2:at + 3] != [] and lines[at + 2].strip() != "", True)

    # sox: no tags, but a 'fact' chunk, which is bookkeeping and never offered as a "_riff_" tag.
    path = os.path.join(work, "sox-untagged.wav")
    run("sox", "-n", "-r", 8000, path, "synth", 0.1, "sine", 440)
    expect("sox chunk tags", sorted(host_tags(path)), ["_riff_data", "_riff_fmt "])

    picture = write(os.path.join(work, "cover.png"), PNG)

    # A plain ffmpeg file with a 'cue ' chunk: written, re-written, then stripped.
    path = os.path.join(work, "plain.wav")
    ffmpeg_wav(path)
    append_chunk(path, b"cue ", CUE)
    before = audio_md5(path)
    r = host("tag", path, "Title=Caf\u00e9 Song", "Artist=Alpha\rBeta", "Album=Beta", "Comment=\u5c71 \u00e9t\u00e9",
             "Year=2004-05-28T15:30", "replaygain_track_gain=-6.50 dB", "--picture", picture, "--description",
             "Sleeve \u00e9")
    expect("plain tag exit", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
    # Several artists are one ID3v2.3 text joined by "/"; mutagen adds the seconds to the date.
    expect("mutagen texts", texts(path, "TIT2", "TPE1", "TALB", "COMM::eng", "TDRC"),
           [["Caf\u00e9 Song"], ["Alpha/Beta"], ["Beta"], ["\u5c71 \u00e9t\u00e9"], ["2004-05-28 15:30:00"]])
    tags = WAVE(path).tags
    expect("mutagen replay gain", [list(t.text) for t in tags.getall("TXXX") if t.desc == "replaygain_track_gain"],
           [["-6.50 dB"]])
    expect("mutagen picture", [(a.type, a.desc, a.data) for a in tags.getall("APIC")], [(3, "Sleeve \u00e9", PNG)])
    # INFO text is in the ANSI code page, which ffprobe does not assume: the title is compared by mutagen only.
    probed = probe_tags(path)
    expect("ffprobe artist, album, date", [probed.get(k) for k in ("artist", "album", "date")],
           ["Alpha\rBeta", "Beta", "2004-05-28T15:30"])
    keeps("plain tagged", path, before)

    host("tag", path, "Title=Second")
    expect("second write title; artist and date kept", texts(path, "TIT2", "TPE1", "TDRC"),
           [["Second"], ["Alpha/Beta"], ["2004-05-28 15:30:00"]])
    expect("second write keeps picture", len(WAVE(path).tags.getall("APIC")), 1)
    expect("second write ffprobe title", probe_tags(path).get("title"), "Second")
    keeps("second write", path, before)

    expect("untag named exit", host("untag", path, "Artist").returncode, 0)
    expect("untag named: artist gone, title kept", texts(path, "TPE1", "TIT2"), [None, ["Second"]])
    probed = probe_tags(path)
    expect("untag named ffprobe", (probed.get("artist"), probed.get("title")), (None, "Second"))

    expect("untag all exit", host("untag", path).returncode, 0)
    expect("untag all mutagen", WAVE(path).tags, None)
    probed = probe_tags(path)
    expect("untag all ffprobe", (probed.get("title"), probed.get("album")), (None, None))
    keeps("untag all", path, before)

    # An ffmpeg file with LIST and bext keeps its audio and gains our tags.
    path = os.path.join(work, "bwf.wav")
    ffmpeg_wav(path, "-write_bext", 1, *metadata(title="From ffmpeg", artist="Encoder",
                                                 description="Broadcast take", originator="Desk 4"))
    before, bext_before, files = audio_md5(path), chunk(path, "bext"), sorted(os.listdir(work))
    r = host("tag", path, "Title=Ours", "Description=Our take")
    expect("bwf tag exit", (r.returncode, r.stdout.strip()), (0, b"IDTags: 1"))
    probed = probe_tags(path)
    # ffmpeg shows the bext description as "comment" and the originator as "encoded_by".
    expect("bwf ffprobe title, artist kept, description, originator kept",
           [probed.get(k) for k in ("title", "artist", "comment", "encoded_by")],
           ["Ours", "Encoder", "Our take", "Desk 4"])
    bext_after = chunk(path, "bext")
    expect("bwf bext version and UMID kept", bext_after[346:412] if bext_after else None, bext_before[346:412])
    expect("bwf mutagen title", texts(path, "TIT2"), [["Ours"]])
    expect("bwf audio", audio_md5(path), before)
    expect("bwf no temporary file", sorted(os.listdir(work)), files)

    # An RF64 file without its 'ds64' chunk (public test files have this shape):
    # the sizes of its audio are not known, so a write or a delete is refused and
    # the file keeps every byte.
    path = os.path.join(work, "rf64.wav")
    ffmpeg_wav(path)
    with open(path, "r+b") as f:
        f.write(b"RF64\xff\xff\xff\xff")
    with open(path, "rb") as f:
        before = f.read()
    for args in (("tag", path, "Title=T"), ("untag", path)):
        r = host(*args)
        with open(path, "rb") as f:
            expect(f"rf64 without ds64 {args[0]} refused, file kept",
                   (r.returncode != 0, b"has no 'ds64' chunk" in r.stderr, f.read() == before), (True, True, True))

checks.finish("checks passed")

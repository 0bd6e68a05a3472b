"""mutagen, which shares no code with the program, as the tag tests' reader and writer: id3tool.py dump|add|text|covers FILE [V]
(the ID3v2 tag's frames as stored; a 2.V tag with frames the record has no field for; a 2.4 tag in every text encoding; covers)."""
import json
import sys

from mutagen.id3 import APIC, COMM, ID3, IPLS, PRIV, TALB, TDRC, TIT2, TORY, TPE1, TRCK, TXXX, WXXX, PictureType


def dump(path):
    tag = ID3(path, translate=False, load_v1=False)
    frames = [dict({s.name: getattr(f, s.name) for s in f._framespec + f._optionalspec if hasattr(f, s.name)}, id=f.FrameID) for f in tag.values()]
    return {"version": list(tag.version), "size": tag.size, "frames": frames}


def add(path, version):
    tag, picture = ID3(), bytes(range(256)) * 12 + b"\xff\x00\xff\xe0end"
    for frame in (TIT2(encoding=0, text=["Old title"]), APIC(encoding=0, mime="image/png", type=PictureType.COVER_FRONT, desc="cover", data=picture),
                  PRIV(owner="tonmill.test", data=b"\x00\x01\x02\xff\xfe private"), TXXX(encoding=0, desc="MOOD", text=["calm"])):
        tag.add(frame)
    if version == 3:
        tag.add(TORY(encoding=0, text=["1999"]))
        tag.add(IPLS(encoding=0, people=[["producer", "Ann"]]))
    tag.save(path, v2_version=version, v1=0, padding=lambda info: 0)


def text(path):
    tag = ID3()
    for frame in (TIT2(encoding=3, text=["Ünïcode title ✓"]), TPE1(encoding=1, text=["Wide artist ✓"]),
                  TALB(encoding=2, text=["Big-endian album"]), COMM(encoding=1, lang="deu", desc="note", text=["Comment ✓"]),
                  WXXX(encoding=1, desc="site ✓", url="http://example.org/a"), TDRC(encoding=0, text=["2001"]),
                  TRCK(encoding=0, text=["3/12"])):
        tag.add(frame)
    tag.save(path, v2_version=4, v1=0)


def covers(path):
    import base64, mutagen.flac, mutagen.ogg
    f, tags, pictures, pages = mutagen.File(path), {}, [], []
    for name, value in f.tags:
        if name.upper() == "METADATA_BLOCK_PICTURE":
            p = mutagen.flac.Picture(base64.b64decode(value))
            pictures.append(dict(type=p.type, mime=p.mime, width=p.width, height=p.height, depth=p.depth, data=p.data.hex()))
        elif name == "WM/Picture":
            v, size = value.value, int.from_bytes(value.value[1:5], "little")
            pictures.append(dict(type=v[0], mime=v[5:len(v) - size].decode("utf-16-le").split("\0")[0], data=v[len(v) - size:].hex()))
        else:
            tags.setdefault(name, []).append(str(value))
    with open(path, "rb") as file:
        while path.endswith((".ogg", ".opus")) and file.peek(1):
            pages.append(mutagen.ogg.OggPage(file).sequence)
    return dict(kind=type(f).__name__, tags=tags, pictures=pictures, pages=pages)


# The frames' bytes as hexadecimal digits, their other values as text.
result = {"dump": dump, "add": add, "text": text, "covers": covers}[sys.argv[1]](sys.argv[2], *map(int, sys.argv[3:]))
print(json.dumps(result, sort_keys=True, default=lambda value: {"hex": value.hex()} if isinstance(value, bytes) else str(value)))

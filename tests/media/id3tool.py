"""Independent ID3 reader and writer for the tag tests, built on mutagen.

  id3tool.py dump FILE    the ID3v2 tag (frames as stored, not translated between versions) and the ID3v1 tag as JSON
  id3tool.py add FILE V   a version 2.V tag (V is 3 or 4): a title and frames the record has no field for, a picture,
                          a private frame, a user text and, in 2.3, the original release year and the people list
  id3tool.py text FILE    a version 2.4 tag whose fields use every text encoding
"""
import enum
import json
import sys

from mutagen.id3 import (APIC, COMM, ID3, IPLS, PRIV, TALB, TDRC, TIT2, TORY, TPE1, TRCK, TXXX, WXXX, ID3NoHeaderError,
                         ParseID3v1, PictureType)


def plain(value):
    if isinstance(value, bytes):
        return {"hex": value.hex()}
    if isinstance(value, enum.Enum):
        return int(value)
    if isinstance(value, (list, tuple)):
        return [plain(v) for v in value]
    return value if isinstance(value, (str, int, float)) or value is None else str(value)


def frame_json(frame):
    specs = frame._framespec + frame._optionalspec
    return dict({s.name: plain(getattr(frame, s.name)) for s in specs if hasattr(frame, s.name)}, id=frame.FrameID)


def dump(path):
    result = {"v2": None, "v1": None}
    try:
        tag = ID3(path, translate=False, load_v1=False)
        result["v2"] = {"version": list(tag.version), "size": tag.size, "frames": [frame_json(f) for f in tag.values()]}
    except ID3NoHeaderError:
        pass
    with open(path, "rb") as f:
        data = f.read()
    v1 = ParseID3v1(data[-128:], v2_version=4) if len(data) >= 128 else None
    if v1 is not None:
        result["v1"] = {key: frame_json(frame) for key, frame in v1.items()}
    print(json.dumps(result, sort_keys=True))


def add(path, version):
    tag = ID3()
    tag.add(TIT2(encoding=0, text=["Old title"]))
    picture = bytes(range(256)) * 12 + b"\xff\x00\xff\xe0end"
    tag.add(APIC(encoding=0, mime="image/png", type=PictureType.COVER_FRONT, desc="cover", data=picture))
    tag.add(PRIV(owner="tonmill.test", data=b"\x00\x01\x02\xff\xfe private"))
    tag.add(TXXX(encoding=0, desc="MOOD", text=["calm"]))
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


if __name__ == "__main__":
    {"dump": lambda: dump(sys.argv[2]), "add": lambda: add(sys.argv[2], int(sys.argv[3])),
     "text": lambda: text(sys.argv[2])}[sys.argv[1]]()

"""Independent ID3 reader and writer for the tag tests, built on mutagen.

  id3tool.py dump FILE        prints the ID3v2 tag (frames as stored, no
                              translation between versions) and the ID3v1 tag
                              as JSON
  id3tool.py add FILE V       gives FILE a version 2.V tag (V is 3 or 4) that
                              holds a title and frames the record has no field
                              for: a picture, a private frame, a user text, the
                              original release year and the people list
  id3tool.py text FILE        gives FILE a version 2.4 tag whose fields use
                              every text encoding
"""
import enum
import json
import sys

from mutagen.id3 import (APIC, COMM, ID3, IPLS, PRIV, TALB, TDRC, TIT2, TORY, TPE1, TRCK, TXXX, WXXX, ID3NoHeaderError,
                         ParseID3v1, PictureType)

PICTURE = bytes(range(256)) * 12 + b"\xff\x00\xff\xe0end"


def plain(value):
    if isinstance(value, bytes):
        return {"hex": value.hex()}
    if isinstance(value, enum.Enum):
        return int(value)
    if isinstance(value, (list, tuple)):
        return [plain(v) for v in value]
    if isinstance(value, (str, int, float)) or value is None:
        return value
    return str(value)


def frame_json(frame):
    out = {"id": frame.FrameID}
    for spec in frame._framespec + frame._optionalspec:
        if hasattr(frame, spec.name):
            out[spec.name] = plain(getattr(frame, spec.name))
    return out


def dump(path):
    result = {"v2": None, "v1": None}
    try:
        tag = ID3(path, translate=False, load_v1=False)
        result["v2"] = {
            "version": list(tag.version),
            "size": tag.size,
            "frames": [frame_json(f) for f in tag.values()],
        }
    except ID3NoHeaderError:
        pass
    with open(path, "rb") as f:
        f.seek(0, 2)
        if f.tell() >= 128:
            f.seek(-128, 2)
            v1 = ParseID3v1(f.read(128), v2_version=4)
            if v1 is not None:
                result["v1"] = {key: frame_json(frame) for key, frame in v1.items()}
    print(json.dumps(result, sort_keys=True))


def add(path, version):
    tag = ID3()
    tag.add(TIT2(encoding=0, text=["Old title"]))
    tag.add(APIC(encoding=0, mime="image/png", type=PictureType.COVER_FRONT, desc="cover", data=PICTURE))
    tag.add(PRIV(owner="tonmill.test", data=b"\x00\x01\x02\xff\xfe private"))
    tag.add(TXXX(encoding=0, desc="MOOD", text=["calm"]))
    if version == 3:
        tag.add(TORY(encoding=0, text=["1999"]))
        tag.add(IPLS(encoding=0, people=[["producer", "Ann"]]))
    tag.save(path, v2_version=version, v1=0, padding=lambda info: 0)


def text(path):
    tag = ID3()
    tag.add(TIT2(encoding=3, text=["Ünïcode title ✓"]))
    tag.add(TPE1(encoding=1, text=["Wide artist ✓"]))
    tag.add(TALB(encoding=2, text=["Big-endian album"]))
    tag.add(COMM(encoding=1, lang="deu", desc="note", text=["Comment ✓"]))
    tag.add(WXXX(encoding=1, desc="site ✓", url="http://example.org/a"))
    tag.add(TDRC(encoding=0, text=["2001"]))
    tag.add(TRCK(encoding=0, text=["3/12"]))
    tag.save(path, v2_version=4, v1=0)


def main():
    if sys.argv[1] == "dump":
        dump(sys.argv[2])
    elif sys.argv[1] == "text":
        text(sys.argv[2])
    elif sys.argv[1] == "add":
        add(sys.argv[2], int(sys.argv[3]))
    else:
        sys.exit(2)


if __name__ == "__main__":
    main()

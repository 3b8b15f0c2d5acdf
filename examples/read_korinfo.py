# Binary results of `kor replay -o results.korinfo` as a list of dicts, by the standard library alone.
import struct
content = open("results.korinfo", "rb").read()
size, record, count = struct.unpack_from("<3I", content, 12)
types = {1: "f", 2: "d", 3: "i", 4: "I", 5: "B", 6: "?", 7: "B"}
columns = [struct.unpack_from("<24s8x2I", content, 32 + 48 * i) for i in range(count)]
rows = [{name.rstrip(b"\0").decode(): struct.unpack_from("<" + types[kind], content, at + offset)[0]
         for name, kind, offset in columns} for at in range(size, len(content), record)]

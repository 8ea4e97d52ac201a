#!/usr/bin/env python3
"""An independent reader and writer of property lists and keyed archives (Python's plistlib),
for checking that ours agree with it.

  plistlib_peer.py read-archive FILE        prints the archived dictionary as JSON
  plistlib_peer.py write-archive JSON FILE  writes JSON's dictionary as a binary keyed archive
  plistlib_peer.py read-plist FILE          prints the property list as JSON (data as hex)
  plistlib_peer.py write-domain JSON FILE   writes a preferences domain as the pane would:
      JSON is {"global": {...}, "elements": [{"bid"?, "creator"?, "settings": {...}}]}
"""
import json
import plistlib
import sys


def to_json(v):
    if isinstance(v, dict):
        return {k: to_json(x) for k, x in v.items()}
    if isinstance(v, list):
        return [to_json(x) for x in v]
    if isinstance(v, bytes):
        return {"$data": v.hex()}
    if isinstance(v, plistlib.UID):
        return {"$uid": v.data}
    return v


def read_archive(path):
    archive = plistlib.load(open(path, "rb"))
    assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
    objects = archive["$objects"]

    def obj(uid):
        assert isinstance(uid, plistlib.UID)
        o = objects[uid.data]
        if o == "$null":
            return None
        if isinstance(o, dict):
            name = objects[o["$class"].data]["$classname"]
            if name in ("NSDictionary", "NSMutableDictionary"):
                return {obj(k): obj(v) for k, v in zip(o["NS.keys"], o["NS.objects"])}
            if name in ("NSArray", "NSMutableArray"):
                return [obj(v) for v in o["NS.objects"]]
            raise ValueError("unexpected class " + name)
        return o

    return obj(archive["$top"]["root"])


def archive_bytes(value):
    import io
    out = io.BytesIO()
    write_archive(value, out)
    return out.getvalue()


def write_domain(layout, path):
    domain = dict(layout.get("global", {}))
    app_list = []
    for element in layout.get("elements", []):
        entry = {k: v for k, v in element.items() if k != "settings"}
        entry["data"] = archive_bytes(element.get("settings", {}))
        app_list.append(entry)
    domain["appList"] = app_list
    plistlib.dump(domain, open(path, "wb"), fmt=plistlib.FMT_BINARY)


def write_archive(value, path):
    objects = ["$null"]
    classes = {}

    def cls(name):
        if name not in classes:
            classes[name] = plistlib.UID(len(objects))
            objects.append({"$classname": name, "$classes": [name, "NSObject"]})
        return classes[name]

    def add(v):
        if v is None:
            return plistlib.UID(0)
        uid = len(objects)
        objects.append(None)
        if isinstance(v, dict):
            keys = [add(k) for k in v]
            values = [add(x) for x in v.values()]
            objects[uid] = {"NS.keys": keys, "NS.objects": values, "$class": cls("NSMutableDictionary")}
        elif isinstance(v, list):
            objects[uid] = {"NS.objects": [add(x) for x in v], "$class": cls("NSMutableArray")}
        else:
            objects[uid] = v
        return plistlib.UID(uid)

    root = add(value)
    archive = {"$archiver": "NSKeyedArchiver", "$version": 100000,
               "$top": {"root": root}, "$objects": objects}
    target = open(path, "wb") if isinstance(path, str) else path
    plistlib.dump(archive, target, fmt=plistlib.FMT_BINARY)


if __name__ == "__main__":
    command = sys.argv[1]
    if command == "read-archive":
        print(json.dumps(read_archive(sys.argv[2]), sort_keys=True))
    elif command == "write-archive":
        write_archive(json.loads(sys.argv[2]), sys.argv[3])
    elif command == "write-domain":
        write_domain(json.loads(sys.argv[2]), sys.argv[3])
    elif command == "read-plist":
        print(json.dumps(to_json(plistlib.load(open(sys.argv[2], "rb"))), sort_keys=True))
    else:
        sys.exit("unknown command " + command)

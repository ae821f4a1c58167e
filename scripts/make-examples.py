#!/usr/bin/env python3
"""Writes the stored canvases of examples/: documents as older releases stored them, for the tool's demo,
`tavola inspect`, `tavola upgrade` and the tests.

Each value is built from its numbers here, in the byte form the stored documents use (little-endian, no
header, Base64), so that what an example holds can be read off this file:

    python3 scripts/make-examples.py [DIR]     # rewrites examples/*.json, or writes them to DIR
"""

import base64
import json
import os
import struct
import sys

EXAMPLES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples")
CANVAS = "kx-tavola"


def b64(data):
    return base64.b64encode(data).decode("ascii")


def floats(*values):
    return struct.pack("<%df" % len(values), *values)


def ints(*values):
    return struct.pack("<%di" % len(values), *values)


def int64(value):
    return struct.pack("<q", value)


def text(value):
    return value.encode("utf-8")


def value(name, data):
    return {"name": name, "value": b64(data)}


def values_per_element(name, elements):
    """A list as releases before 8 stored it: one Base64 string per element."""
    return {"name": name, "values": [b64(element) for element in elements]}


def values_blob(name, elements):
    """A list as releases from 8 on store it: one Base64 string of all elements, and their count."""
    return {"name": name, "values": b64(b"".join(elements)), "size": len(elements)}


def node(node_id, node_type, parent=None, attributes=(), name=None):
    stored = {"id": node_id}
    if parent is not None:
        stored["parentId"] = parent
    stored["type"] = node_type
    if name is not None:
        stored["name"] = name
    stored["attributes"] = list(attributes)
    return stored


def document(version, nodes):
    return {"documentType": CANVAS, "versions": {CANVAS: version}, "nodes": nodes}


def bezier_node(ctrl_in, point, ctrl_out, half_width):
    """A stroke node: control-in, point and control-out, each with the half-width as z."""
    return floats(ctrl_in[0], ctrl_in[1], half_width, point[0], point[1], half_width,
                  ctrl_out[0], ctrl_out[1], half_width)


def release_5():
    """Release 5: a stroke under an annotation container, with plain points stored one value per string,
    and a note, an anchor and a table in the geometry of that time (note without padding, anchor by its
    centre, table box with its border, a uniform grid)."""
    return document(5, [
        node("canvas", "tavola_shared_canvas"),
        node("strokes", "tavola_annotation_container", "canvas"),
        node("stroke", "tavola_annotation", "strokes", [
            value("line-width", floats(4.0)),
            values_per_element("points", [floats(10, 20), floats(15, 25), floats(25, 25), floats(30, 20)]),
            value("finished", b"\x01"),
        ]),
        node("note", "tavola_note", "canvas", [
            value("text", text("Written by release 5")),
            value("location", floats(100, 100)),
            value("size", floats(200, 150)),
        ]),
        node("anchor", "tavola_anchor", "canvas", [
            value("location", floats(100, 100)),
            value("size", floats(40, 20)),
            value("scale", floats(2.0)),
            value("anchor-id", int64(7)),
        ]),
        node("table", "tavola_table", "canvas", [
            value("location", floats(100, 100)),
            value("size", floats(400, 300)),
            value("scale", floats(2.0)),
            value("grid-size", ints(3, 2)),
        ]),
    ])


def release_15():
    """Release 15: strokes are Bezier nodes already and lists are one Base64 string with a count, but
    notes, anchors and tables still have the geometry that steps 16 to 21 repair: a note without its
    padding (and one stored without a size), anchors placed by their centre, a table box with its border."""
    return document(15, [
        node("canvas", "tavola_shared_canvas"),
        node("stroke", "tavola_annotation", "canvas", [
            value("line-width", floats(4.0)),
            values_blob("points", [bezier_node((10, 20), (10, 20), (15, 25), 2.0),
                                   bezier_node((25, 25), (30, 20), (30, 20), 2.0)]),
        ]),
        node("note", "tavola_note", "canvas", [
            value("text", text("Written by release 15")),
            value("location", floats(100, 100)),
            value("size", floats(200, 150)),
        ]),
        node("sizeless-note", "tavola_note", "canvas", [
            value("text", text("Stored without a size")),
            value("location", floats(400, 100)),
        ]),
        node("anchor", "tavola_anchor", "canvas", [
            value("location", floats(100, 100)),
            value("size", floats(40, 20)),
            value("scale", floats(2.0)),
            value("anchor-id", int64(7)),
        ]),
        node("sizeless-anchor", "tavola_anchor", "canvas", [
            value("location", floats(300, 300)),
            value("anchor-id", int64(8)),
        ]),
        node("table", "tavola_table", "canvas", [
            value("location", floats(100, 100)),
            value("size", floats(400, 300)),
            value("scale", floats(2.0)),
            value("grid-size", ints(2, 2)),
            values_blob("column-widths", [floats(0.25), floats(0.75)]),
            values_blob("row-heights", [floats(0.5), floats(0.5)]),
        ]),
    ])


def broken():
    """A canvas of this release that the server's operators repair: depths that are no numbers, two anchors
    with one anchor id, a connector to nothing, a slide of no item, and no background."""
    no_depth = floats(float("nan"))
    return document(32, [
        node("canvas", "tavola_shared_canvas"),
        node("first", "tavola_note", "canvas", [
            value("text", text("A note from an older release")),
            value("depth", no_depth),
            value("background-color", floats(0, 0, 0, 1)),
        ], name="first"),
        node("second", "tavola_note", "canvas", [value("depth", no_depth)], name="second"),
        node("anchor-a", "tavola_anchor", "canvas", [value("anchor-id", int64(5))], name="anchor-a"),
        node("anchor-b", "tavola_anchor", "canvas", [value("anchor-id", int64(5))], name="anchor-b"),
        node("connectors", "tavola_connector_container", "canvas", name="connectors"),
        node("dangling", "tavola_connector", "connectors", [
            value("src", text("first")),
            value("dst", b""),
        ], name="dangling"),
        node("presentations", "tavola_presentation_container", "canvas", name="presentations"),
        node("deck", "tavola_presentation", "presentations", name="deck"),
        node("orphan-slide", "tavola_presentation_slide", "deck", [
            value("content-id", text("no-such-item")),
        ], name="orphan-slide"),
    ])


def write(directory, file_name, stored):
    with open(os.path.join(directory, file_name), "w", encoding="utf-8") as out:
        json.dump(stored, out, indent=1)
        out.write("\n")


if __name__ == "__main__":
    target = sys.argv[1] if len(sys.argv) > 1 else EXAMPLES
    write(target, "canvas-release-5.json", release_5())
    write(target, "canvas-release-15.json", release_15())
    write(target, "broken-canvas.json", broken())

"""Reads pictures in the form in which a browser writes them."""

import struct
import zlib


def pixels_of(data):
    """Returns width, height and the rows of (red, green, blue) of a PNG with three or four channels of 8 bits."""
    if data[:8] != b"\x89PNG\r\n\x1a\n":
        raise ValueError("no PNG")
    at, packed, head = 8, b"", None
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        if kind == b"IHDR":
            head = struct.unpack(">IIBBBBB", data[at + 8:at + 8 + size])
        elif kind == b"IDAT":
            packed += data[at + 8:at + 8 + size]
        at += 12 + size
    width, height, depth, colour, _, _, interlaced = head
    if depth != 8 or colour not in (2, 6) or interlaced:
        raise ValueError("a PNG of another form")
    step = 3 if colour == 2 else 4
    stride = width * step
    raw = zlib.decompress(packed)
    rows, before = [], bytearray(stride)
    for y in range(height):
        filtering = raw[y * (stride + 1)]
        line = bytearray(raw[y * (stride + 1) + 1:(y + 1) * (stride + 1)])
        for i in range(stride):
            left = line[i - step] if i >= step else 0
            up, corner = before[i], before[i - step] if i >= step else 0
            if filtering == 1:
                line[i] = (line[i] + left) & 255
            elif filtering == 2:
                line[i] = (line[i] + up) & 255
            elif filtering == 3:
                line[i] = (line[i] + (left + up) // 2) & 255
            elif filtering == 4:
                guess = left + up - corner
                nearest = min((abs(guess - left), 0, left), (abs(guess - up), 1, up), (abs(guess - corner), 2, corner))
                line[i] = (line[i] + nearest[2]) & 255
        rows.append([tuple(line[x:x + 3]) for x in range(0, stride, step)])
        before = line
    return width, height, rows


def masked(picture, boxes):
    """Returns the rows of a picture, in which the boxes (left, top, right, bottom) are empty."""
    width, height, rows = picture
    for left, top, right, bottom in boxes:
        for y in range(max(0, top), min(height, bottom)):
            begin, end = max(0, left), min(width, right)
            rows[y][begin:end] = [None] * (end - begin)
    return rows


def differences(left, right):
    """Returns the number of pixels that differ; all of them for pictures of different sizes."""
    if len(left) != len(right) or len(left[0]) != len(right[0]):
        return len(left) * len(left[0])
    return sum(1 for a, b in zip(left, right) if a != b for one, other in zip(a, b) if one != other)

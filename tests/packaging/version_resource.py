"""Reads the version resource of a program or library for Windows."""

import struct

SIGNATURE = 0xFEEF04BD
PROGRAM, LIBRARY = 1, 2  # the kinds of files


class VersionResource:
    """Fixed part: `file_version` and `product_version` ("1.2.3.4") and `kind`. Texts by name: `texts`, with the language of
    their block, `text_language`. Languages of the file: `languages`."""

    def __init__(self, image):
        key = "VS_VERSION_INFO\0".encode("utf-16-le")
        if image.count(key) != 1:
            raise ValueError(f"{image.count(key)} version resources")
        self.image = image[image.index(key) - 6:]
        name, value, children = self.block(0)
        signature, _, *versions, _, _, _, self.kind = struct.unpack_from("<10I", value)
        if signature != SIGNATURE:
            raise ValueError("no fixed information")
        self.file_version, self.product_version = dotted(*versions[:2]), dotted(*versions[2:])
        (self.text_language, self.texts), = self.blocks_below(children, "StringFileInfo", self.text_block)
        (self.languages,) = self.blocks_below(children, "VarFileInfo", self.languages_block)

    def block(self, place):
        """Returns name, value and the places of the children of the block at a place."""
        length, value_length, is_text = struct.unpack_from("<HHH", self.image, place)
        end = place + 6
        while self.image[end:end + 2] != b"\0\0":
            end += 2
        name = self.image[place + 6:end].decode("utf-16-le")
        begin = aligned(end + 2)
        behind = begin + value_length * (2 if is_text else 1)
        children = []
        child = aligned(behind)
        while child < place + length:
            children.append(child)
            child = aligned(child + struct.unpack_from("<H", self.image, child)[0])
        return name, self.image[begin:behind], children

    def blocks_below(self, children, wanted, read):
        for place in children:
            name, _, below = self.block(place)
            if name == wanted:
                return [read(*self.block(one)) for one in below]
        raise ValueError("no " + wanted)

    def text_block(self, name, _, children):
        texts = {key: value.decode("utf-16-le").rstrip("\0") for key, value, _ in map(self.block, children)}
        return int(name[:4], 16), texts

    @staticmethod
    def languages_block(name, value, _):
        if name != "Translation":
            raise ValueError("not the languages: " + name)
        return [struct.unpack_from("<H", value, place)[0] for place in range(0, len(value), 4)]


def dotted(high, low):
    return f"{high >> 16}.{high & 0xFFFF}.{low >> 16}.{low & 0xFFFF}"


def aligned(place):
    return (place + 3) // 4 * 4

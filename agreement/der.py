"""Reads the DER (X.690) of names and keys in well-formed structures, to see what an implementation has made of a request."""

SEQUENCE, OBJECT_IDENTIFIER, BIT_STRING = 0x30, 0x06, 0x03


def element(data, at=0):
    """Returns the tag, the content and the end of the element at `at`."""
    length, start = data[at + 1], at + 2
    if length > 0x80:
        count = length & 0x7F
        length, start = int.from_bytes(data[start : start + count], "big"), start + count
    return data[at], data[start : start + length], start + length


def children(content):
    """Returns the elements in `content`, each as its tag, its content and its whole encoding."""
    found, at = [], 0
    while at < len(content):
        tag, inner, end = element(content, at)
        found.append((tag, inner, content[at:end]))
        at = end
    return found


def dotted(identifier):
    """Returns the content of an OBJECT IDENTIFIER as numbers with dots between them."""
    arcs, value = [], 0
    for byte in identifier:
        value = value << 7 | byte & 0x7F
        if byte < 0x80:
            arcs.append(value)
            value = 0
    first = min(arcs[0] // 40, 2)
    return ".".join(map(str, [first, arcs[0] - 40 * first, *arcs[1:]]))


def attributes(name):
    """Returns the attributes of a Name as pairs of type and value, the value as the bytes of its string."""
    found = []
    for _, relative_name, _ in children(element(name)[1]):
        for _, attribute, _ in children(relative_name):
            (_, kind, _), (_, value, _) = children(attribute)
            found.append((dotted(kind), value))
    return found


def enclosed(tag, content):
    """Returns the element of `tag` around `content`."""
    size = len(content)
    octets = size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes([tag]) + (bytes([size]) if size < 0x80 else bytes([0x80 | len(octets)]) + octets) + content

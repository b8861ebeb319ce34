"""Takes apart the certificates that an implementation issued for requests, if that is the only way to see what it read."""

from readers.reading import Reading

from der import attributes, children, dotted, element

EXTENSIONS = 0xA3
EXTENDED_KEY_USAGE = "2.5.29.37"


def reading_of_certificate(der):
    """Returns the subject, the public key and the key purposes in a certificate (RFC 5280)."""
    fields = children(children(element(der)[1])[0][1])
    subject, key = fields[5][2], fields[6][1]
    bits = children(key)[1][1]
    modulus, exponent = children(element(bits[1:])[1])
    return Reading(
        subject=attributes(subject),
        public_key=(int.from_bytes(modulus[1], "big"), int.from_bytes(exponent[1], "big")),
        purposes=purposes_in(fields),
    )


def purposes_in(fields):
    for tag, content, _ in fields:
        if tag == EXTENSIONS:
            for _, extension, _ in children(element(content)[1]):
                parts = children(extension)
                if dotted(parts[0][1]) == EXTENDED_KEY_USAGE:
                    return [dotted(purpose) for _, purpose, _ in children(element(parts[-1][1])[1])]
    return []

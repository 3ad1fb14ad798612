"""File names out of the cloud's records, as the bytes that they have on disk."""


def _characters(name):
    """Undoes the escape of undecodable bytes: U+F7NN is the byte NN, and three in a row that spell a real character
    of U+F780..U+F7FF are that character."""
    index = 0
    while index < len(name):
        code = ord(name[index])
        if not 0xF780 <= code <= 0xF7FF:
            yield code, False
            index += 1
            continue
        more = [ord(character) - 0xF700 for character in name[index + 1:index + 3]]
        continued = code == 0xF7EF and len(more) == 2 and all(0x80 <= byte <= 0xBF for byte in more)
        whole = 0xF000 | (more[0] & 0x3F) << 6 | more[1] & 0x3F if continued else 0
        if 0xF780 <= whole <= 0xF7FF:
            yield whole, False
            index += 3
        else:
            yield code - 0xF700, True
            index += 1


def native_name(name):
    """The name on disk; None for one that cannot be a single file name. A backslash travels as U+F05C."""
    native = b""
    for code, is_byte in _characters(name):
        if is_byte:
            native += bytes([code])
        else:
            native += b"\\" if code == 0xF05C else chr(code).encode()
    return None if native in (b"", b".", b"..") or b"/" in native or b"\0" in native else native


def shown(path):
    """A path for a line of output."""
    text = path.decode(errors="backslashreplace")
    return "".join(character if character.isprintable() else repr(character)[1:-1] for character in text)

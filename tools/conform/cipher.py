"""The key agreement of the protocol, for checks only: P-256 in whole numbers, AES-GCM around the openssl command."""
import base64
import secrets
import subprocess

P = 2**256 - 2**224 + 2**192 + 2**96 - 1
B = 0x5AC635D8AA3A93E7B3EBBD55769886BC651D06B0CC53B0F63BCE3C3E27D2604B
N = 0xFFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632551
G = (0x6B17D1F2E12C4247F8BCE6E563A440F277037D812DEB33A0F4A13945D898C296,
     0x4FE342E2FE1A7F9B8EE7EB4A7C0F9E162BCE33576B315ECECBB6406837BF51F5)
PREFIX = bytes.fromhex("3059301306072a8648ce3d020106082a8648ce3d030107034200")  # then 0x04 and the two coordinates


def add(one, other):
    if one is None or other is None:
        return one or other
    if one[0] == other[0]:
        if (one[1] + other[1]) % P == 0:
            return None
        slope = 3 * (one[0] * one[0] - 1) * pow(2 * one[1], -1, P)
    else:
        slope = (other[1] - one[1]) * pow(other[0] - one[0], -1, P)
    x = (slope * slope - one[0] - other[0]) % P
    return x, (slope * (one[0] - x) - one[1]) % P


def multiply(point, factor):
    result = None
    while factor:
        if factor & 1:
            result = add(result, point)
        point, factor = add(point, point), factor >> 1
    return result


def read_point(blob):
    """The point of a SubjectPublicKeyInfo; an exception when it is none of this curve."""
    x, y = int.from_bytes(blob[27:59], "big"), int.from_bytes(blob[59:91], "big")
    if len(blob) != 91 or blob[:26] != PREFIX or blob[26] != 4 or (y * y - x * x * x + 3 * x - B) % P:
        raise ValueError("this is no point of the curve P-256")
    return x, y


def write_point(point):
    return PREFIX + b"\x04" + point[0].to_bytes(32, "big") + point[1].to_bytes(32, "big")


def counter_mode(key, block, data):
    done = subprocess.run(["openssl", "enc", f"-aes-{8 * len(key)}-ctr", "-K", key.hex(), "-iv", block.hex()],
                          input=data, capture_output=True, check=True)
    return done.stdout


def ghash(key, data):
    """The hash of AES-GCM over whole blocks."""
    h, result = int.from_bytes(key, "big"), 0
    for at in range(0, len(data), 16):
        value, v = result ^ int.from_bytes(data[at:at + 16], "big"), h
        result = 0
        for bit in range(127, -1, -1):
            if value >> bit & 1:
                result ^= v
            v = v >> 1 ^ (0xE1 << 120 if v & 1 else 0)
    return result.to_bytes(16, "big")


def tag_of(key, nonce, cipher):
    padded = cipher + bytes(-len(cipher) % 16) + bytes(8) + (8 * len(cipher)).to_bytes(8, "big")
    digest = ghash(counter_mode(key, bytes(16), bytes(16)), padded)
    return counter_mode(key, nonce + b"\0\0\0\1", digest)


def seal(key, plain):
    nonce = secrets.token_bytes(12)
    cipher = counter_mode(key, nonce + b"\0\0\0\2", plain)
    return nonce + cipher + tag_of(key, nonce, cipher)


def open_sealed(key, text):
    nonce, cipher, tag = text[:12], text[12:-16], text[-16:]
    if tag_of(key, nonce, cipher) != tag:
        raise ValueError("a text of AES-GCM does not open: its tag is wrong")
    return counter_mode(key, nonce + b"\0\0\0\2", cipher)


def temporary_key_text(public_key, temporary_key):
    """"BLOB:CIPHER" as the key list asks for it."""
    own = secrets.randbelow(N - 1) + 1
    secret = multiply(read_point(base64.b64decode(public_key)), own)[0].to_bytes(32, "big")
    blob = write_point(multiply(G, own))
    return base64.b64encode(blob).decode() + ":" + base64.b64encode(seal(secret, temporary_key)).decode()


def cbc(key, vector, plain):
    """AES-128-CBC with the padding of PKCS#7, as the objects of a file have it."""
    done = subprocess.run(["openssl", "enc", "-aes-128-cbc", "-K", key.hex(), "-iv", vector.hex()], input=plain,
                          capture_output=True, check=True)
    return done.stdout

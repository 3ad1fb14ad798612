"""AES with the openssl command. That command has no AES-GCM, so the mode is made here of single blocks (AES-ECB) and
the GHASH arithmetic; what does not carry the right tag is not opened."""
import hmac
import subprocess

BLOCK = 16
NONCE = 12
_REDUCTION = 0xE1 << 120


class Damaged(Exception):
    """What was read is not what was once written; the text says why."""


def _openssl(arguments, data):
    done = subprocess.run(["openssl", *arguments], input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    if done.returncode != 0:
        raise Damaged("openssl: " + done.stderr.decode(errors="replace").strip().partition("\n")[0])
    return done.stdout


def _encrypt_blocks(key, blocks):
    return _openssl(["enc", f"-aes-{len(key) * 8}-ecb", "-nopad", "-K", key.hex()], blocks)


def _multiply(left, right):
    """The product of two elements of the field of GCM, first bit highest."""
    product = 0
    for bit in range(127, -1, -1):
        if left >> bit & 1:
            product ^= right
        right = right >> 1 ^ (_REDUCTION if right & 1 else 0)
    return product


def _ghash(subkey, cipher):
    lengths = (len(cipher) * 8).to_bytes(BLOCK, "big")
    value = 0
    for start in range(0, len(cipher), BLOCK):
        block = cipher[start:start + BLOCK].ljust(BLOCK, b"\0")
        value = _multiply(value ^ int.from_bytes(block, "big"), subkey)
    return _multiply(value ^ int.from_bytes(lengths, "big"), subkey)


def open_gcm(key, sealed_texts):
    """The plain texts of many sealed ones (nonce 12, cipher text, tag 16) under one key of 16 or 32 bytes, with one
    call of openssl; None for each whose tag is wrong."""
    blocks = bytes(BLOCK)
    for sealed in sealed_texts:
        nonce, count = sealed[:NONCE].ljust(NONCE, b"\0"), max(len(sealed) - NONCE - BLOCK, 0)
        blocks += b"".join(nonce + number.to_bytes(4, "big") for number in range(1, 2 + -(-count // BLOCK)))
    stream = _encrypt_blocks(key, blocks)
    subkey, at, plain_texts = int.from_bytes(stream[:BLOCK], "big"), BLOCK, []
    for sealed in sealed_texts:
        cipher, tag = sealed[NONCE:-BLOCK], sealed[-BLOCK:]
        mask, at = stream[at:at + BLOCK], at + BLOCK
        pad, at = stream[at:at + len(cipher)], at + -(-len(cipher) // BLOCK) * BLOCK
        expected = bytes(a ^ b for a, b in zip(_ghash(subkey, cipher).to_bytes(BLOCK, "big"), mask))
        intact = len(sealed) >= NONCE + BLOCK and hmac.compare_digest(expected, tag)
        plain_texts.append(bytes(a ^ b for a, b in zip(cipher, pad)) if intact else None)
    return plain_texts


def open_cbc(key, iv, cipher):
    """The plain bytes of one AES-128-CBC text in memory, padding taken off."""
    return _openssl(["enc", "-d", "-aes-128-cbc", "-K", key.hex(), "-iv", iv.hex()], cipher)


def open_cbc_file(key, iv, path, take):
    """The same for a file of any length; `take` gets the plain bytes piece by piece."""
    command = ["openssl", "enc", "-d", "-aes-128-cbc", "-K", key.hex(), "-iv", iv.hex(), "-in", path]
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
        while piece := process.stdout.read(1 << 20):
            take(piece)
        told = process.stderr.read().decode(errors="replace").strip().partition("\n")[0]
    if process.returncode != 0:
        raise Damaged("openssl: " + told)

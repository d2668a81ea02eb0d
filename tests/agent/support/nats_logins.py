#!/usr/bin/env python3
"""nats_logins.py FOLDER: makes keys as NATS has them, with openssl, and writes
    nkey.pub, nkey.seed     a user that a server can list by its key
    operator.conf           for a server that trusts an operator: two accounts, one with JetStream
    user.creds              a user of that account
"""

import base64
import json
import os
import pathlib
import subprocess
import sys

USER, ACCOUNT, OPERATOR, SEED = 20 << 3, 0, 14 << 3, 18 << 3
PKCS8 = bytes.fromhex("302e020100300506032b657004220420")


def crc16(data):
    crc = 0
    for byte in data:
        crc ^= byte << 8
        for _ in range(8):
            crc = ((crc << 1) ^ 0x1021 if crc & 0x8000 else crc << 1) & 0xFFFF
    return crc.to_bytes(2, "little")


def encoded(data):
    return base64.b32encode(data + crc16(data)).decode().rstrip("=")


def url64(data):
    return base64.urlsafe_b64encode(data).decode().rstrip("=")


class Key:
    def __init__(self, folder, kind):
        self.raw = os.urandom(32)
        self.file = folder / f"key{kind}.{os.urandom(4).hex()}.der"
        self.file.write_bytes(PKCS8 + self.raw)
        public = self.openssl("pkey", "-pubout", "-outform", "DER")[-32:]
        self.public = encoded(bytes([kind]) + public)
        self.seed = encoded(bytes([SEED | kind >> 5, (kind & 31) << 3]) + self.raw)

    def openssl(self, verb, *more):
        return subprocess.run(["openssl", verb, "-in" if verb == "pkey" else "-inkey", self.file,
                               "-inform" if verb == "pkey" else "-keyform", "DER", *more],
                              check=True, stdout=subprocess.PIPE).stdout

    def token(self, subject, name, kind, **nats):
        """A JWT about `subject`, signed with this key."""
        claims = {"jti": os.urandom(8).hex(), "iat": 1700000000, "iss": self.public, "name": name,
                  "sub": subject, "nats": {"type": kind, "version": 2, **nats}}
        text = (url64(json.dumps({"typ": "JWT", "alg": "ed25519-nkey"}).encode()) + "." +
                url64(json.dumps(claims).encode()))
        data = self.file.with_suffix(".text")
        data.write_text(text)
        return text + "." + url64(self.openssl("pkeyutl", "-sign", "-rawin", "-in", data))


def main(folder):
    os.umask(0o077)
    plain = Key(folder, USER)
    (folder / "nkey.pub").write_text(plain.public)
    (folder / "nkey.seed").write_text(plain.seed + "\n")

    operator, system, account, user = (Key(folder, kind)
                                       for kind in (OPERATOR, ACCOUNT, ACCOUNT, USER))
    limits = {"subs": -1, "data": -1, "payload": -1, "imports": -1, "exports": -1,
              "wildcards": True, "conn": -1, "leaf": -1}
    storage = {"mem_storage": -1, "disk_storage": -1, "streams": -1, "consumer": -1}
    preload = {
        system.public: operator.token(system.public, "SYS", "account", limits=limits),
        account.public: operator.token(account.public, "FLEET", "account",
                                       limits={**limits, **storage}),
    }
    (folder / "operator.conf").write_text(
        f"operator: {operator.token(operator.public, 'O', 'operator')}\n"
        f"system_account: {system.public}\nresolver: MEMORY\nresolver_preload: {{\n" +
        "".join(f"  {key}: {token}\n" for key, token in preload.items()) + "}\n")
    token = account.token(user.public, "stor7", "user", pub={}, sub={}, subs=-1, data=-1, payload=-1)
    (folder / "user.creds").write_text(
        f"-----BEGIN NATS USER JWT-----\n{token}\n------END NATS USER JWT------\n\n"
        f"-----BEGIN USER NKEY SEED-----\n{user.seed}\n------END USER NKEY SEED------\n")


main(pathlib.Path(sys.argv[1]))

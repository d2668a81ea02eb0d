"""smtp_server.py FOLDER [OPTIONS]: a mail server for tests, on aiosmtpd.

Each mail it takes becomes FOLDER/new/N.eml; FOLDER/log.jsonl gets a line with its envelope.
Recipients decide: no-such@... is refused with 550, busy@... put off with 451; a mail with
"X-REFUSE" in its text is refused after DATA with 554.

  --tls CERT KEY     offers STARTTLS          --need-tls      and insists on it
  --smtps CERT KEY   TLS from the start       --auth U P      insists on this login
  --greeting LINE    says only this and waits --hang          never says a word
  --drop             hangs up in the middle of DATA
"""
import asyncio
import json
import os
import ssl
import sys

from aiosmtpd.smtp import SMTP, AuthResult, LoginPassword


def option(name, count):
    if name not in sys.argv:
        return None
    at = sys.argv.index(name)
    return sys.argv[at + 1:at + 1 + count]


FOLDER = os.path.abspath(sys.argv[1])
os.makedirs(FOLDER + "/new", exist_ok=True)


class Handler:
    count = 0

    async def handle_RCPT(self, server, session, envelope, address, options):
        if address.startswith("no-such@"):
            return "550 5.1.1 no such user"
        if address.startswith("busy@"):
            return "451 4.2.1 come back later"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        if b"X-REFUSE" in envelope.content:
            return "554 5.7.1 we do not like this mail"
        Handler.count += 1
        with open(FOLDER + "/log.jsonl", "a", encoding="utf-8") as log:
            log.write(json.dumps({
                "from": envelope.mail_from, "to": envelope.rcpt_tos,
                "encrypted": session.ssl is not None or bool(option("--smtps", 2)),
                "login": bool(session.authenticated)}) + "\n")
        with open(f"{FOLDER}/new/{Handler.count}.eml", "wb") as mail:
            mail.write(envelope.original_content)
        return f"250 2.0.0 Ok: queued as TEST{Handler.count}"


def authenticate(server, session, envelope, mechanism, data):
    user, password = option("--auth", 2)
    good = isinstance(data, LoginPassword) and \
        (data.login.decode(), data.password.decode()) == (user, password)
    return AuthResult(success=good, handled=False if not good else True)


def context(files):
    made = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    made.load_cert_chain(*files)
    return made


def mail_server():
    tls = option("--tls", 2)
    auth = option("--auth", 2)
    return SMTP(Handler(), hostname="mail.test", tls_context=context(tls) if tls else None,
                require_starttls="--need-tls" in sys.argv, auth_required=bool(auth),
                authenticator=authenticate if auth else None,
                auth_require_tls=bool(tls))


async def rude(reader, writer):
    greeting = option("--greeting", 1)
    if greeting:
        writer.write(greeting[0].encode() + b"\r\n")
        await writer.drain()
    if "--drop" not in sys.argv:
        await reader.read()
        return
    writer.write(b"220 mail.test\r\n")
    while True:
        line = await reader.readline()
        if line.upper().startswith(b"DATA"):
            writer.write(b"354 go on\r\n")
            await reader.read(20)
            writer.close()
            return
        writer.write(b"250 OK\r\n")


async def main():
    loop = asyncio.get_running_loop()
    smtps = option("--smtps", 2)
    if "--hang" in sys.argv or "--drop" in sys.argv or "--greeting" in sys.argv:
        server = await asyncio.start_server(rude, "127.0.0.1", 0)
    else:
        server = await loop.create_server(mail_server, "127.0.0.1", 0,
                                          ssl=context(smtps) if smtps else None)
    print("ready", server.sockets[0].getsockname()[1], flush=True)
    await server.serve_forever()


asyncio.run(main())

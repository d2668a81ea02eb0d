"""http_server.py LOG [--unix PATH] [--tls CERT KEY [--clients CA]]: a web server for tests.

Each request becomes one JSON line in LOG: method, path, headers, body. The path says the answer:
/status/503 that code, /later 429 with Retry-After, /echo the Authorization header, /away a
redirect, /hang none at all, /lines two lines of text, anything else 200.
"""
import http.server
import json
import os
import socketserver
import ssl
import sys
import threading


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def answer(self, code, text="", headers=()):
        body = text.encode()
        self.send_response(code)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def take(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        with open(LOG, "a", encoding="utf-8") as log:
            log.write(json.dumps({
                "method": self.command, "path": self.path,
                "headers": {name.lower(): value for name, value in self.headers.items()},
                "body": body.decode("utf-8")}) + "\n")
        if self.path.startswith("/status/"):
            self.answer(int(self.path.split("/")[2]), "no \x1b[2J luck\n")
        elif self.path == "/later":
            self.answer(429, "slow down", [("Retry-After", "17")])
        elif self.path == "/echo":
            self.answer(400, "bad key " + self.headers.get("Authorization", ""))
        elif self.path == "/away":
            self.answer(302, "", [("Location", "/elsewhere")])
        elif self.path == "/hang":
            threading.Event().wait()
        elif self.path == "/lines":
            self.answer(200, "\r\n  first line\r\nsecond line\r\n")
        else:
            self.answer(200, "ok")

    do_GET = do_POST = do_PUT = do_PATCH = take

    def log_message(self, *_):
        pass

    def address_string(self):
        return "peer"


class TcpServer(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, request, client_address):
        pass  # a client that does not trust us


class UnixServer(socketserver.ThreadingMixIn, socketserver.UnixStreamServer):
    daemon_threads = True

    def get_request(self):
        request, _ = super().get_request()
        return request, ("unix", 0)


LOG = os.path.abspath(sys.argv[1])
if "--unix" in sys.argv:
    path = sys.argv[sys.argv.index("--unix") + 1]
    server = UnixServer(path, Handler)
    port = 0
else:
    server = TcpServer(("127.0.0.1", 0), Handler)
    port = server.server_address[1]
if "--tls" in sys.argv:
    at = sys.argv.index("--tls")
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(sys.argv[at + 1], sys.argv[at + 2])
    if "--clients" in sys.argv:
        context.verify_mode = ssl.CERT_REQUIRED
        context.load_verify_locations(sys.argv[sys.argv.index("--clients") + 1])
    server.socket = context.wrap_socket(server.socket, server_side=True)
print("ready", port, flush=True)
server.serve_forever()

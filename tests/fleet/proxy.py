"""A node's HTTP interface with an accident: a proxy that calls a function before it hands on an INSERT, after the server
has carried it out and before the answer goes back, or that lets bytes through slowly."""

import http.client
import http.server
import socket
import threading
import time
import urllib.parse


class Proxy:
    """`before(number, table)` and `after(number, table)` get the number of the INSERT, from 1. If they return False, the
    connection is cut there."""

    def __init__(self, url, before=None, after=None, bytes_a_second=None):
        self.target = urllib.parse.urlsplit(url)
        self.before, self.after = before, after
        self.bytes_a_second = bytes_a_second
        self.inserts = 0
        self.lock = threading.Lock()
        proxy = self

        class Handler(http.server.BaseHTTPRequestHandler):
            protocol_version = "HTTP/1.1"

            def do_POST(self):
                proxy.serve(self)

            def log_message(self, *_):
                pass

        class Server(http.server.ThreadingHTTPServer):
            daemon_threads = True

            def handle_error(self, *_):  # cut connections are what this is for
                pass

        self.server = Server(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_address[1]}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.server.shutdown()
        self.server.server_close()

    def serve(self, handler):
        body = self.read(handler, int(handler.headers["Content-Length"]))
        query = urllib.parse.parse_qs(urllib.parse.urlsplit(handler.path).query).get("query", [""])[0]
        number = 0
        if query.startswith("INSERT"):
            with self.lock:
                self.inserts += 1
                number = self.inserts
        table = query.split(".")[-1].split(" ")[0].strip("`")
        if number and self.before and self.before(number, table) is False:
            return self.cut(handler)
        headers = {name: value for name, value in handler.headers.items() if name.lower() != "host"}
        try:
            connection = http.client.HTTPConnection(self.target.hostname, self.target.port, timeout=60)
            connection.request("POST", handler.path, body, headers)
            answer = connection.getresponse()
            content = answer.read()
        except OSError:
            return self.cut(handler)
        except http.client.HTTPException:
            return self.cut(handler)
        if number and self.after and self.after(number, table) is False:
            return self.cut(handler)
        handler.send_response(answer.status)
        handler.send_header("Content-Length", str(len(content)))
        handler.end_headers()
        handler.wfile.write(content)

    def read(self, handler, size):
        if not self.bytes_a_second:
            return handler.rfile.read(size)
        body = b""
        while len(body) < size:
            piece = handler.rfile.read(min(size - len(body), 1 << 16))
            body += piece
            time.sleep(len(piece) / self.bytes_a_second)  # the slowness itself, which nothing waits for
        return body

    def cut(self, handler):
        handler.close_connection = True
        handler.connection.shutdown(socket.SHUT_RDWR)

#!/usr/bin/python3
"""A version-file server on 127.0.0.1 for the update check's tests.

Prints the port it listens on, then serves until it is ended:
  /v/TEXT   200 with TEXT as the whole body ("/v/" gives an empty body)
  /missing  404
  /silent   accepts the request and never answers
  /cut      promises 100 bytes, sends 2 and closes the connection
  /big      a 50 MB body that says its length first
  /stream   a 50 MB body that does not: it ends when the connection does
"""
import http.server
import sys
import threading
import time
import urllib.parse


class Handler(http.server.BaseHTTPRequestHandler):
    def log_message(self, *args):
        pass

    def send_body(self, body, length=None):
        self.send_response(200)
        self.send_header("Content-Type", "text/plain")
        self.send_header("Content-Length", str(len(body) if length is None else length))
        self.end_headers()
        self.wfile.write(body)
        self.wfile.flush()

    def do_GET(self):
        path = self.path
        if path.startswith("/v/"):
            self.send_body(urllib.parse.unquote(path[3:]).encode())
        elif path == "/missing":
            self.send_error(404)
        elif path == "/silent":
            time.sleep(3600)
        elif path == "/cut":
            self.send_body(b"30", length=100)
            self.close_connection = True
        elif path in ("/big", "/stream"):
            chunk = b"7" * 65536
            self.send_response(200)
            if path == "/big":
                self.send_header("Content-Length", str(50 * 1024 * 1024))
            self.end_headers()
            try:
                for _ in range(50 * 1024 * 1024 // len(chunk)):
                    self.wfile.write(chunk)
            except OSError:
                pass
        else:
            self.send_error(400)


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
print(server.server_address[1], flush=True)
threading.Thread(target=server.serve_forever, daemon=True).start()
sys.stdin.read()  # until the test closes its end

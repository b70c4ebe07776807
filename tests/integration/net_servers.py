#!/usr/bin/python3
"""Runs net_tests against servers on 127.0.0.1: Debian's nginx (HTTP, HTTPS
with a throw-away CA, HTTPS with a certificate of a CA nobody trusts, ranges,
a redirect, an access log with the user agent) and, on threads of this
process, a scripted server for the replies nginx will not give: no ranges, a
chunked body, a body without length, a connection dropped halfway, a stall
after the head and one before it, a pause of PAUSE_SECONDS after the first
PAUSE_AT bytes.

usage: net_servers.py [--root-cert-tool TOOL] NET_TESTS [RUNNER...]
With a runner (wine) the tests are the Windows build: TOOL puts the CA into
the prefix's "Root" store. Natively CURL_CA_BUNDLE names the CA."""
import http.server
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

from checks import program_command

DEADLINE = time.monotonic() + 840  # inside ctest's TIMEOUT, so that the finally always runs
DATA_SIZE = 1_500_007
BIG_SIZE = 64 << 20
MASK = (1 << 64) - 1
PAUSE_AT = 64 << 10
PAUSE_SECONDS = 8


def data_bytes(size):
    """splitmix64 of the word index, little-endian: tests/net/NetStreamTest.cpp makes the same bytes."""
    out = bytearray()
    for k in range((size + 7) // 8):
        z = ((k + 1) * 0x9E3779B97F4A7C15) & MASK
        z = ((z ^ (z >> 30)) * 0xBF58476D1CE4E5B9) & MASK
        z = ((z ^ (z >> 27)) * 0x94D049BB133111EB) & MASK
        out += (z ^ (z >> 31)).to_bytes(8, "little")
    return bytes(out[:size])


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_listening(port):
    while time.monotonic() < DEADLINE:
        try:
            socket.create_connection(("127.0.0.1", port), timeout=1).close()
            return
        except OSError:
            time.sleep(0.05)
    raise TimeoutError(f"nothing listens on port {port}")


def run(args, **kw):
    kw.setdefault("timeout", max(1, DEADLINE - time.monotonic()))
    return subprocess.run(args, check=True, stdout=subprocess.DEVNULL, **kw)


def make_certificates(work):
    """A trusted CA and a rogue one, each signing a certificate for 127.0.0.1."""
    ext = os.path.join(work, "server.ext")
    with open(ext, "w") as f:
        # Wine's check compares the host with DNS names only, hence the address as a DNS name too.
        f.write("subjectAltName = DNS:127.0.0.1, IP:127.0.0.1\nbasicConstraints = CA:FALSE\n"
                "keyUsage = digitalSignature, keyEncipherment\nextendedKeyUsage = serverAuth\n")
    for name in ("ca", "rogue"):
        p = os.path.join(work, name)
        run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-keyout", p + "-ca.key",
             "-out", p + "-ca.pem", "-subj", f"/CN=Wave net test {name} CA",
             "-addext", "basicConstraints=critical,CA:TRUE", "-addext", "keyUsage=critical,keyCertSign,cRLSign"],
            stderr=subprocess.DEVNULL)
        run(["openssl", "req", "-newkey", "rsa:2048", "-nodes", "-keyout", p + "-server.key", "-out",
             p + "-server.csr", "-subj", "/CN=127.0.0.1"], stderr=subprocess.DEVNULL)
        run(["openssl", "x509", "-req", "-in", p + "-server.csr", "-CA", p + "-ca.pem", "-CAkey", p + "-ca.key",
             "-CAcreateserial", "-days", "2", "-extfile", ext, "-out", p + "-server.pem"], stderr=subprocess.DEVNULL)
    run(["openssl", "x509", "-in", os.path.join(work, "ca-ca.pem"), "-outform", "DER",
         "-out", os.path.join(work, "ca-ca.der")])


NGINX_CONF = """daemon off;
master_process off;
pid {work}/nginx.pid;
error_log {work}/error.log info;
events {{ worker_connections 64; }}
http {{
  client_body_temp_path {work}/body;
  proxy_temp_path {work}/proxy;
  fastcgi_temp_path {work}/fastcgi;
  uwsgi_temp_path {work}/uwsgi;
  scgi_temp_path {work}/scgi;
  types {{ audio/wav wav; }}
  default_type application/octet-stream;
  log_format agent '"$request" $status "$http_user_agent"';
  access_log {work}/access.log agent;
  root {work}/www;
  server {{
    listen 127.0.0.1:{http};
    location = /redirect {{ return 302 /data.wav; }}
  }}
  server {{
    listen 127.0.0.1:{https} ssl;
    ssl_certificate {work}/ca-server.pem;
    ssl_certificate_key {work}/ca-server.key;
    location = /redirect {{ return 302 /data.wav; }}
  }}
  server {{
    listen 127.0.0.1:{rogue} ssl;
    ssl_certificate {work}/rogue-server.pem;
    ssl_certificate_key {work}/rogue-server.key;
  }}
}}
"""


class Scripted(http.server.BaseHTTPRequestHandler):
    """The replies nginx will not give; every body is the test data, or a served file."""
    protocol_version = "HTTP/1.1"
    data = b""
    www = ""
    stop = threading.Event()

    def log_message(self, *args):
        pass

    def head(self, status, headers):
        self.send_response(status)
        for name, value in headers:
            self.send_header(name, value)
        self.end_headers()

    def do_GET(self):
        data, path, stall_at = self.data, self.path, 0
        served = re.fullmatch(r"(/[a-z-]+)/([\w.-]+)", self.path)
        if served and os.path.isfile(os.path.join(self.www, served.group(2))):
            with open(os.path.join(self.www, served.group(2)), "rb") as f:
                data = f.read()
            path, stall_at = served.group(1), len(data) // 2
        half = len(data) // 2
        ranged = re.fullmatch(r"bytes=(\d+)-", self.headers.get("Range", ""))
        start = int(ranged.group(1)) if ranged else 0
        if path == "/silent":
            self.stop.wait(max(1, DEADLINE - time.monotonic()))
            self.close_connection = True
        elif path == "/norange" or path == "/stall":
            self.head(200, [("Content-Length", len(data))])
            if path == "/stall":
                self.wfile.write(data[:stall_at])
                self.wfile.flush()
                self.stop.wait(max(1, DEADLINE - time.monotonic()))
            else:
                self.wfile.write(data)
        elif path == "/pause":
            self.head(200, [("Content-Length", len(data))])
            try:
                self.wfile.write(data[:PAUSE_AT])
                self.wfile.flush()
                if not self.stop.wait(PAUSE_SECONDS):
                    self.wfile.write(data[PAUSE_AT:])
            except OSError:  # the client had what it wanted and left during the pause
                self.close_connection = True
        elif path == "/chunked":
            self.head(200, [("Transfer-Encoding", "chunked")])
            for at in range(0, len(data), 100_000):
                piece = data[at:at + 100_000]
                self.wfile.write(b"%x\r\n%s\r\n" % (len(piece), piece))
            self.wfile.write(b"0\r\n\r\n")
        elif path == "/close":
            self.head(200, [("Connection", "close")])
            self.wfile.write(data)
        elif path in ("/drop", "/drop-gone", "/drop-norange"):
            if ranged and path == "/drop-gone":
                self.head(503, [("Content-Length", 0)])
                return
            ranges = [("Accept-Ranges", "bytes")] if path != "/drop-norange" else []
            if ranged:
                self.head(206, ranges + [("Content-Range", f"bytes {start}-{len(data) - 1}/{len(data)}"),
                                         ("Content-Length", len(data) - start)])
                self.wfile.write(data[start:])
            else:
                self.head(200, ranges + [("Content-Length", len(data))])
                self.wfile.write(data[:half])
                self.close_connection = True
        else:
            self.head(404, [("Content-Length", 0)])


def main():
    windows = len(sys.argv) > 1 and sys.argv[1] == "--root-cert-tool"
    tool = sys.argv[2] if windows else None
    tests = program_command(sys.argv[3:] if windows else sys.argv[1:])
    work = tempfile.mkdtemp(prefix="wave-net-")
    native = (lambda p: "Z:" + p.replace("/", "\\")) if windows else (lambda p: p)
    nginx = scripted = None
    try:
        make_certificates(work)
        os.mkdir(os.path.join(work, "www"))
        data = data_bytes(DATA_SIZE)
        with open(os.path.join(work, "www", "data.wav"), "wb") as f:
            f.write(data)
        with open(os.path.join(work, "www", "big.bin"), "wb") as f:
            f.truncate(BIG_SIZE)

        ports = {name: free_port() for name in ("http", "https", "rogue", "closed")}
        conf = os.path.join(work, "nginx.conf")
        with open(conf, "w") as f:
            f.write(NGINX_CONF.format(work=work, **ports))
        nginx = subprocess.Popen(["/usr/sbin/nginx", "-p", work, "-e", os.path.join(work, "error.log"), "-c", conf])

        Scripted.data = data
        Scripted.www = os.path.join(work, "www")
        scripted = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Scripted)
        scripted.daemon_threads = True
        threading.Thread(target=scripted.serve_forever, daemon=True).start()
        for name in ("http", "https", "rogue"):
            wait_listening(ports[name])

        env = dict(os.environ, NET_DATA_SIZE=str(DATA_SIZE), NET_BIG_SIZE=str(BIG_SIZE),
                   NET_HTTP=f"http://127.0.0.1:{ports['http']}", NET_HTTPS=f"https://127.0.0.1:{ports['https']}",
                   NET_ROGUE=f"https://127.0.0.1:{ports['rogue']}", NET_WRONG_HOST=f"https://localhost:{ports['https']}",
                   NET_CLOSED=f"http://127.0.0.1:{ports['closed']}",
                   NET_SCRIPTED=f"http://127.0.0.1:{scripted.server_address[1]}",
                   NET_PAUSE_AT=str(PAUSE_AT), NET_PAUSE_SECONDS=str(PAUSE_SECONDS),
                   NET_ACCESS_LOG=native(os.path.join(work, "access.log")), NET_WWW=native(os.path.join(work, "www")))
        if windows:
            run(tests[:-1] + [tool, native(os.path.join(work, "ca-ca.der"))], env=env)
        else:
            env["CURL_CA_BUNDLE"] = os.path.join(work, "ca-ca.pem")
        result = subprocess.run(tests, env=env, timeout=max(1, DEADLINE - time.monotonic()))
        if result.returncode != 0:
            with open(os.path.join(work, "error.log"), errors="replace") as f:
                print("nginx error log:\n" + f.read()[-4000:])
        return result.returncode
    finally:
        Scripted.stop.set()
        if scripted is not None:
            scripted.shutdown()
            scripted.server_close()
        if nginx is not None:
            nginx.send_signal(signal.SIGQUIT)
            try:
                nginx.wait(timeout=10)
            except subprocess.TimeoutExpired:
                nginx.kill()
                nginx.wait()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())

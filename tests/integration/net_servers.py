#!/usr/bin/python3
"""usage: net_servers.py [--root-cert-tool TOOL] PROGRAM [RUNNER...]
Runs PROGRAM against servers on 127.0.0.1 named in NET_* variables: Debian's nginx (HTTP, HTTPS with a throw-away CA,
HTTPS with a certificate of a CA nobody trusts, a redirect, an access log with the user agent) and, on threads of this
process, a scripted server for the replies nginx will not give. Under wine TOOL puts the CA into the prefix's "Root"
store; natively CURL_CA_BUNDLE names it."""
import http.server
import os
import re
import shutil
import signal
import socket
import ssl
import subprocess
import sys
import tempfile
import threading
import time

from checks import program_command

DEADLINE = time.monotonic() + 840  # inside ctest's TIMEOUT, so that the finally always runs
DATA_SIZE = 750_007
PAUSE_AT = 64 << 10


def data_bytes(size):
    """A 32-bit hash of each byte's index, its top byte: tests/net/NetStreamTest.cpp makes the same bytes."""
    out = bytearray(size)
    for k in range(size):
        x = (k * 0x9E3779B1) & 0xFFFFFFFF
        out[k] = (((x ^ (x >> 15)) * 0x85EBCA6B) & 0xFFFFFFFF) >> 24
    return bytes(out)


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def openssl(*args):
    subprocess.run(("openssl",) + args, check=True, capture_output=True, timeout=max(1, DEADLINE - time.monotonic()))


def make_certificates(work):
    """A trusted CA and a rogue one, each signing a certificate for 127.0.0.1. Making keys is most of the start-up:
    two serve all four (each server has the other CA's)."""
    for name in ("ca", "rogue"):
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{work}/{name}.key", "-days", "2",
                "-out", f"{work}/{name}-ca.pem", "-subj", f"/CN=Wave net test {name} CA",
                "-addext", "basicConstraints=critical,CA:TRUE", "-addext", "keyUsage=critical,keyCertSign,cRLSign")
    for name, other in (("ca", "rogue"), ("rogue", "ca")):
        # Wine's check compares the host with DNS names only, hence the address as a DNS name too.
        openssl("req", "-x509", "-new", "-key", f"{work}/{other}.key", "-CA", f"{work}/{name}-ca.pem", "-CAkey",
                f"{work}/{name}.key", "-days", "2", "-subj", "/CN=127.0.0.1", "-out", f"{work}/{name}-server.pem",
                "-addext", "subjectAltName=DNS:127.0.0.1,IP:127.0.0.1", "-addext", "basicConstraints=CA:FALSE",
                "-addext", "keyUsage=digitalSignature,keyEncipherment", "-addext", "extendedKeyUsage=serverAuth")
    with open(f"{work}/ca-ca.pem") as pem, open(f"{work}/ca-ca.der", "wb") as der:
        der.write(ssl.PEM_cert_to_DER_cert(pem.read()))


NGINX_CONF = """daemon off; master_process off; pid {work}/nginx.pid; error_log {work}/error.log info;
events {{ worker_connections 64; }}
http {{
  client_body_temp_path {work}/body; proxy_temp_path {work}/proxy; fastcgi_temp_path {work}/fastcgi;
  uwsgi_temp_path {work}/uwsgi; scgi_temp_path {work}/scgi;
  types {{ audio/wav wav; }} default_type application/octet-stream; root {work}/www;
  log_format agent '"$request" $status "$http_user_agent"'; access_log {work}/access.log agent;
  server {{ listen 127.0.0.1:{http}; location = /redirect {{ return 302 /data.wav; }} }}
  server {{
    listen 127.0.0.1:{https} ssl; ssl_certificate {work}/ca-server.pem; ssl_certificate_key {work}/rogue.key;
    location = /redirect {{ return 302 /data.wav; }}
  }}
  server {{ listen 127.0.0.1:{rogue} ssl; ssl_certificate {work}/rogue-server.pem; ssl_certificate_key {work}/ca.key; }}
}}
"""


class Scripted(http.server.BaseHTTPRequestHandler):
    """/MODE, or /MODE/NAME for a file of the served folder instead of the test data: norange, chunked, close (no
    length), silent (no answer), stall (the head, then nothing), pause (PAUSE_AT bytes, the rest after a /release),
    drop (half, then ranges), drop-gone (half, then 503) and drop-norange (half, and no ranges)."""
    protocol_version = "HTTP/1.1"
    data = b""
    www = ""
    stop = threading.Event()
    release = threading.Semaphore(0)

    def log_message(self, *args):
        pass

    def head(self, status, *headers):
        self.send_response(status)
        for name, value in headers:
            self.send_header(name, value)
        self.end_headers()

    def do_GET(self):
        data, path = self.data, self.path
        served = re.fullmatch(r"(/[a-z-]+)/([\w.-]+)", path)
        if served and os.path.isfile(os.path.join(self.www, served.group(2))):
            with open(os.path.join(self.www, served.group(2)), "rb") as f:
                data = f.read()
            path = served.group(1)
        length = ("Content-Length", len(data))
        ranged = re.fullmatch(r"bytes=(\d+)-", self.headers.get("Range", ""))
        if path in ("/silent", "/stall"):
            if path == "/stall":
                self.head(200, length)
            self.stop.wait(max(1, DEADLINE - time.monotonic()))
            self.close_connection = True
        elif path in ("/norange", "/close"):
            self.head(200, length if path == "/norange" else ("Connection", "close"))
            self.wfile.write(data)
        elif path == "/release":
            self.release.release()
            self.head(200, ("Content-Length", 0))
        elif path == "/pause":
            self.head(200, length)
            try:
                self.wfile.write(data[:PAUSE_AT])
                if self.release.acquire(timeout=max(1, DEADLINE - time.monotonic())):
                    self.wfile.write(data[PAUSE_AT:])
            except OSError:  # the client had what it wanted and left during the pause
                self.close_connection = True
        elif path == "/chunked":
            self.head(200, ("Transfer-Encoding", "chunked"))
            for at in range(0, len(data), 100_000):
                self.wfile.write(b"%x\r\n%s\r\n" % (len(data[at:at + 100_000]), data[at:at + 100_000]))
            self.wfile.write(b"0\r\n\r\n")
        elif path in ("/drop", "/drop-gone", "/drop-norange"):
            ranges = [("Accept-Ranges", "bytes")] if path != "/drop-norange" else []
            if not ranged:
                self.head(200, *ranges, length)
                self.wfile.write(data[:len(data) // 2])
                self.close_connection = True
            elif path == "/drop-gone":
                self.head(503, ("Content-Length", 0))
            else:
                start = int(ranged.group(1))
                self.head(206, *ranges, ("Content-Range", f"bytes {start}-{len(data) - 1}/{len(data)}"),
                          ("Content-Length", len(data) - start))
                self.wfile.write(data[start:])
        else:
            self.head(404, ("Content-Length", 0))


def main():
    windows = len(sys.argv) > 1 and sys.argv[1] == "--root-cert-tool"
    tests = program_command(sys.argv[3:] if windows else sys.argv[1:])
    work = tempfile.mkdtemp(prefix="wave-net-")
    native = (lambda p: "Z:" + p.replace("/", "\\")) if windows else (lambda p: p)
    nginx = scripted = None
    try:
        make_certificates(work)
        os.mkdir(os.path.join(work, "www"))
        Scripted.data = data_bytes(DATA_SIZE)
        Scripted.www = os.path.join(work, "www")
        with open(os.path.join(Scripted.www, "data.wav"), "wb") as f:
            f.write(Scripted.data)

        ports = {name: free_port() for name in ("http", "https", "rogue", "closed")}
        conf = os.path.join(work, "nginx.conf")
        with open(conf, "w") as f:
            f.write(NGINX_CONF.format(work=work, **ports))
        nginx = subprocess.Popen(["/usr/sbin/nginx", "-p", work, "-e", os.path.join(work, "error.log"), "-c", conf])
        scripted = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Scripted)
        scripted.daemon_threads = True
        threading.Thread(target=scripted.serve_forever, daemon=True).start()
        # nginx writes its pid once it listens.
        while not os.path.exists(os.path.join(work, "nginx.pid")) and nginx.poll() is None:
            time.sleep(0.05)

        url = "http{}://{}:{}".format
        env = dict(os.environ, NET_DATA_SIZE=str(DATA_SIZE), NET_PAUSE_AT=str(PAUSE_AT),
                   NET_HTTP=url("", "127.0.0.1", ports["http"]), NET_HTTPS=url("s", "127.0.0.1", ports["https"]),
                   NET_ROGUE=url("s", "127.0.0.1", ports["rogue"]), NET_WRONG_HOST=url("s", "localhost", ports["https"]),
                   NET_CLOSED=url("", "127.0.0.1", ports["closed"]),
                   NET_SCRIPTED=url("", "127.0.0.1", scripted.server_address[1]),
                   NET_ACCESS_LOG=native(os.path.join(work, "access.log")), NET_WWW=native(Scripted.www))
        if windows:
            subprocess.run(tests[:-1] + [sys.argv[2], native(os.path.join(work, "ca-ca.der"))], env=env, check=True,
                           stdout=subprocess.DEVNULL, timeout=max(1, DEADLINE - time.monotonic()))
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

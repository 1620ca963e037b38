"""The Session against the reference service (tests/support/with-service.sh) and against peers that
misbehave: register and fetch, batches, the experiment log, the plot command and every error class."""

import os
import pickle
import socket
import ssl
import struct
import subprocess
import sys
import threading

import numpy as np
import pytest

import anadata


def test_register_then_fetch_keeps_every_number():
    rec = anadata.Record("pytest", 42, date="01/02/2003 04:05", comment="from python",
                         dims=[("x", "m", np.linspace(0, 1, 7)), ("y", "", [1, 2])],
                         values=[("v", "V", np.random.default_rng(7).normal(size=(7, 2)))])
    s = anadata.Session()
    s.register(rec, precision=16)
    got = s.fetch("pytest", 42)
    assert (got.name, got.shot, got.date, got.comment.strip()) == ("pytest", 42, rec.date, rec.comment)
    for column in ("x", "y"):
        np.testing.assert_array_equal(got.dims[column].data, rec.dims[column].data)
    np.testing.assert_array_equal(got.values["v"].data, rec.values["v"].data)
    assert [(e.name, e.shot, e.subshot) for e in s.search("pytest", 1, 100)] == [("pytest", 42, 1)]
    s.delete("pytest", 42)
    assert "pytest" not in s.counts()


def test_fetch_many_keeps_every_good_record():
    calls = []
    s = anadata.Session()
    got = s.fetch_many("sample", [1233, 1234, 1299], jobs=2, progress=lambda done, total: calls.append((done, total)))
    assert list(got) == [1234] and got[1234].values["signal"].data.shape == (5, 3)
    assert calls[-1] == (3, 3)
    records, failures = s.fetch_many("sample", [1233, 1234], errors="return")
    assert list(records) == [1234] and type(failures[1233]) is anadata.NotFound
    with pytest.raises(anadata.NotFound, match=r"2 of 3 shots failed \(1233, 1299\)\n.*1233/1") as raised:
        s.fetch_many("sample", [1233, 1234, 1299], errors="raise")
    assert list(raised.value.records) == [1234] and sorted(raised.value.failures) == [1233, 1299]


def test_session_check_pickle_and_close():
    s = anadata.Session()
    s.check()
    with pytest.raises(anadata.AuthError, match="log in as analyst"):
        anadata.Session(s.endpoint, s.account, "wrong").check()
    copy = pickle.loads(pickle.dumps(s))
    assert "secret" not in repr(copy) and copy.fetch("sample", 1234).shot == 1234
    with copy as same:
        assert same is copy
    assert copy.names() == ["sample"]  # closed, then connected again


def test_a_cached_session_pickles_with_its_cache_and_serves_from_it(workdir):
    s = anadata.Session(cache=workdir / "cache", retries=2, streams=2, timeout=5)
    copy = pickle.loads(pickle.dumps(s))
    assert copy.cache == str(workdir / "cache") and "secret" not in repr(copy)
    assert copy.fetch_many("sample", [1234]).from_cache == frozenset()
    again = copy.fetch_many("sample", [1233, 1234])
    assert again.from_cache == {1234} and again.entries[1234].shot == 1234
    offline = pickle.loads(pickle.dumps(anadata.Session(cache=workdir / "cache", offline=True)))
    assert offline.offline and offline.fetch("sample", 1234) == again[1234]
    with pytest.raises(anadata.NotFound, match="offline"):
        offline.fetch("sample", 1233)


def test_explog_and_plot(workdir):
    assert anadata.Session().explog(1234) == {"shotno": "1234", "date": "2009/03/07", "energy": "1.5"}
    subprocess.run([sys.executable, "-m", "anadata", "plot", "sample", "1234", "-o", "s.png"], check=True,
                   env=dict(os.environ, MPLCONFIGDIR=str(workdir)))
    head = (workdir / "s.png").read_bytes()[:24]
    assert head[:8] == b"\x89PNG\r\n\x1a\n" and struct.unpack(">II", head[16:24]) == (800, 650)


@pytest.fixture
def peer(workdir):
    """Starts a one-shot server on 127.0.0.1 that reads a request and answers `reply` (None: never),
    over TLS with a self-signed certificate when asked; returns its endpoint."""
    servers = []

    def start(reply, tls=False):
        server = socket.create_server(("127.0.0.1", 0))
        servers.append(server)
        if tls:
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1",
                            "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", "key.pem",
                            "-out", "cert.pem"],
                           check=True, capture_output=True)
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain("cert.pem", "key.pem")

        def serve():
            try:
                connection, _ = server.accept()
                with context.wrap_socket(connection, server_side=True) if tls else connection as c:
                    c.recv(65536)
                    c.sendall(reply)
            except OSError:
                pass

        if reply is not None:
            threading.Thread(target=serve, daemon=True).start()
        return f"http{'s' if tls else ''}://127.0.0.1:{server.getsockname()[1]}/"

    yield start
    for server in servers:
        server.close()


def fault(code):
    body = ('<?xml version="1.0"?>'
            '<SOAP-ENV:Envelope xmlns:SOAP-ENV="http://schemas.xmlsoap.org/soap/envelope/"><SOAP-ENV:Body>'
            f"<SOAP-ENV:Fault><faultcode>SOAP-ENV:{code}</faultcode><faultstring>no</faultstring>"
            "</SOAP-ENV:Fault></SOAP-ENV:Body></SOAP-ENV:Envelope>").encode()
    return b"HTTP/1.1 500 Internal Server Error\r\nContent-Type: text/xml\r\nContent-Length: %d\r\n\r\n%s" % (
        len(body), body)


def test_https_with_the_settings_authority(peer):
    body = ('<?xml version="1.0"?><SOAP-ENV:Envelope xmlns:SOAP-ENV="http://schemas.xmlsoap.org/soap/envelope/" '
            'xmlns:ns="http://localhost/tavolen/"><SOAP-ENV:Body><ns:getDiagnosticsResponse><diags><item>x</item>'
            '</diags></ns:getDiagnosticsResponse></SOAP-ENV:Body></SOAP-ENV:Envelope>').encode()
    reply = b"HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: %d\r\n\r\n%s" % (len(body), body)
    assert anadata.Session(peer(reply, tls=True), cafile="cert.pem").names() == ["x"]


def test_each_failure_raises_its_class(peer):
    s = anadata.Session()
    closed = socket.create_server(("127.0.0.1", 0))
    refused = f"http://127.0.0.1:{closed.getsockname()[1]}/"
    closed.close()
    cases = [(lambda: s.fetch("sample", 999), anadata.NotFound),
             (lambda: anadata.Session(peer(fault("Client.Unauthorized"))).names(), anadata.AuthError),
             (lambda: anadata.Session(peer(fault("Server"))).names(), anadata.ServiceError),
             (lambda: anadata.Session(peer(b"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nno")).names(),
              anadata.ServiceError),
             (lambda: anadata.Session(refused).names(), anadata.TransportError),
             (lambda: anadata.Session(peer(b"", tls=True)).names(), anadata.CertificateError),
             (lambda: anadata.Session(peer(None), timeout=1).names(), anadata.TimeoutError),
             (lambda: anadata.Session(settings="missing.ini"), anadata.IOError),
             (lambda: s.fetch_many("sample", [1234], progress=lambda done, total: False), anadata.Cancelled),
             (lambda: s.fetch_many("sample", [1234], progress=lambda done, total: 1 / 0), ZeroDivisionError)]
    for call, cls in cases:
        with pytest.raises(cls) as raised:
            call()
        assert type(raised.value) is cls
    assert issubclass(anadata.TimeoutError, TimeoutError) and issubclass(anadata.IOError, OSError)
    assert issubclass(anadata.CertificateError, anadata.TransportError)

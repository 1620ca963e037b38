"""anadata-server driven by an independent SOAP stack (zeep) from the WSDL that soapcpp2 generates:
every contract type encoded by one side and decoded by the other.

Usage: zeep_client_test.py SERVER_PROGRAM WSDL
"""
import os
import shutil
import subprocess
import sys
import tempfile

import zeep
from zeep.transports import Transport

HERE = os.path.dirname(os.path.abspath(__file__))
ENCODING = "http://schemas.xmlsoap.org/soap/encoding/"


class LocalTransport(Transport):
    """Serves the SOAP encoding schema from this directory and refuses every other remote load."""

    def load(self, url):
        if url.startswith(ENCODING):
            with open(os.path.join(HERE, "soap-encoding.xsd"), "rb") as f:
                return f.read()
        if url.startswith("http"):
            raise RuntimeError("no remote schema may be loaded: " + url)
        return super().load(url)


failures = []
checks = [0]


def check(name, got, want):
    checks[0] += 1
    if got != want:
        failures.append(name)
        print("FAIL %s: got %r, want %r" % (name, got, want))


def run(svc, client, tns):
    Info = client.get_type("{%s}TavolenInfo" % tns)
    Names = client.get_type("{%s}StringArray" % tns)

    payload = bytes(range(256)) * 4000 + b"tail"  # two blocks of the client's size and a remainder
    info = Info(diagnostics="zeep", shotno=42, subshotno=0, filelen=len(payload), filename="zeep@42.dat.zip",
                filedate="2024-05-06 07:08:09", userid="alice", summary="from zeep")
    key = svc.beginTavolenDataRegistration(user="alice", password="wonder", replace=True, info=info)
    sent = 0
    for pos in range(0, len(payload), 819200):
        sent += len(payload[pos:pos + 819200])
        check("putData ret", svc.putData(session=key, bin=payload[pos:pos + 819200]), sent)
    check("end ret", svc.endTavolenDataRegistration(session=key), 0)

    path = svc.getTavolenDataPath(diag="zeep", shot=42, sub=1)
    back = b""
    while True:
        block = svc.getData(path=path, pos=len(back), size=819200)
        if not block:
            break
        back += block
    check("download", back == payload, True)

    check("getDiagnostics", svc.getDiagnostics(), ["zeep"])
    check("getDiagEntry", [(e.diagnostics, e.sum) for e in svc.getDiagEntry()], [("zeep", 1)])
    check("getNumEntry", [(e.no, e.sum) for e in svc.getNumEntry(diag="zeep", shot=40, range=5)], [(42, 1)])
    rows = svc.getTavolenInfo(diag="zeep", lower=42, higher=42)
    check("getTavolenInfo", [(r.shotno, r.subshotno, r.filelen, r.userid, r.summary, r.filedate) for r in rows],
          [(42, 1, len(payload), "alice", "from zeep", "2024-05-06 07:08:09")])
    rows = svc.listTavolenInfo(diags=Names(["zeep", "other"]), lower=0, higher=0, subshot=0, user="", limit=0)
    check("listTavolenInfo", [r.diagnostics for r in rows], ["zeep"])
    check("delete ret", svc.delTavolenData(user="alice", password="wonder", diag="zeep", shot=42, sub=0), 0)


def main():
    program, wsdl = sys.argv[1], sys.argv[2]
    work = tempfile.mkdtemp(prefix="anadata-zeep-")
    server = None
    try:
        store = os.path.join(work, "store")
        subprocess.run([program, "--store", store, "--add-user", "alice"], input="wonder\n", text=True, check=True,
                       stdout=subprocess.DEVNULL)
        server = subprocess.Popen([program, "--store", store, "--bind", "127.0.0.1", "--port", "0"],
                                  stdout=subprocess.PIPE, text=True)
        line = server.stdout.readline().strip()
        prefix = "listening on "
        if not line.startswith(prefix):
            print("FAIL unexpected first line %r" % line)
            return 1
        client = zeep.Client(wsdl, transport=LocalTransport())
        tns = client.wsdl.services["tavolen"].ports["tavolen"].binding.name.namespace
        run(client.create_service("{%s}tavolen" % tns, line[len(prefix):]), client, tns)
    finally:
        if server:
            server.terminate()
            server.wait(timeout=10)
        shutil.rmtree(work, ignore_errors=True)
    print("%d passed, %d failed" % (checks[0] - len(failures), len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

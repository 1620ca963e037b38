"""anadata-server driven by an independent SOAP stack (zeep) from the WSDL that soapcpp2 generates.

Usage: zeep_client_test.py SERVER_PROGRAM WSDL
"""
import os
import shutil
import subprocess
import sys
import tempfile

import zeep
import zeep.exceptions
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


def fault_of(call, **kwargs):
    try:
        call(**kwargs)
    except zeep.exceptions.Fault as fault:
        return fault.message
    return None


def run(svc, client, tns, store):
    Info = client.get_type("{%s}TavolenInfo" % tns)
    Names = client.get_type("{%s}StringArray" % tns)

    payload = bytes(range(256)) * 4000 + b"tail"  # two blocks of the client's size and a remainder
    info = Info(diagnostics="zeep", shotno=42, subshotno=0, filelen=len(payload), filename="zeep@42.dat.zip",
                filedate="2024-05-06 07:08:09", userid="alice", summary="from zeep")
    key = svc.beginTavolenDataRegistration(user="alice", password="wonder", replace=True, info=info)
    check("session key", len(key), 32)
    sent = 0
    for pos in range(0, len(payload), 819200):
        block = payload[pos:pos + 819200]
        sent += len(block)
        check("putData ret", svc.putData(session=key, bin=block), sent)
    check("end ret", svc.endTavolenDataRegistration(session=key), 0)

    path = svc.getTavolenDataPath(diag="zeep", shot=42, sub=1)
    check("path name", os.path.basename(path), "zeep@42.dat.zip")
    check("path in store", path.startswith(os.path.realpath(store) + "/data/"), True)
    back = b""
    while True:
        block = svc.getData(path=path, pos=len(back), size=819200)
        if not block:
            break
        back += block
    check("download", back == payload, True)

    # Every array and struct type of the contract, decoded by another stack.
    check("getDiagnostics", svc.getDiagnostics(), ["zeep"])
    check("getDiagEntry", [(e.diagnostics, e.sum) for e in svc.getDiagEntry()], [("zeep", 1)])
    check("getNumEntry", [(e.no, e.sum) for e in svc.getNumEntry(diag="zeep", shot=40, range=5)], [(42, 1)])
    rows = svc.getTavolenInfo(diag="zeep", lower=42, higher=42)
    check("getTavolenInfo", [(r.shotno, r.subshotno, r.filelen, r.userid, r.summary, r.filedate) for r in rows],
          [(42, 1, len(payload), "alice", "from zeep", "2024-05-06 07:08:09")])
    rows = svc.listTavolenInfo(diags=Names(["zeep", "other"]), lower=0, higher=0, subshot=0, user="", limit=0)
    check("listTavolenInfo", [r.diagnostics for r in rows], ["zeep"])

    key = svc.beginTavolenDataRegistration(user="alice", password="wonder", replace=True,
                                           info=Info(diagnostics="gone", shotno=1, subshotno=1, filelen=3))
    check("abort ret", svc.abortTavolenDataRegistration(session=key), 0)
    check("aborted", fault_of(svc.getTavolenDataPath, diag="gone", shot=1, sub=1),
          "unknown data set gone shot 1 sub-shot 1")

    check("explog names", svc.getExplogColumnNames(), ["shot", "gas", "note"])
    check("explog row", svc.getExplogColumnValues(shotNo=7), ["7", "D2", "a, b"])
    check("explog value", svc.getExplogColumnValue(shotNo=7, name="gas"), "D2")

    check("delete ret", svc.delTavolenData(user="alice", password="wonder", diag="zeep", shot=42, sub=0), 0)
    check("deleted", svc.getDiagnostics() or [], [])

    check("changePassword ret", svc.changePassword(user="bob", oldpass="builder", newpass="rebuilt"), 0)
    check("new password", fault_of(svc.delTavolenData, user="bob", password="rebuilt", diag="none", shot=1, sub=1),
          "unknown data set none shot 1 sub-shot 1")


def main():
    program, wsdl = sys.argv[1], sys.argv[2]
    work = tempfile.mkdtemp(prefix="anadata-zeep-")
    server = None
    try:
        store = os.path.join(work, "store")
        for user, password in (("alice", "wonder"), ("bob", "builder")):
            subprocess.run([program, "--store", store, "--add-user", user], input=password + "\n",
                           text=True, check=True, stdout=subprocess.DEVNULL)
        explog = os.path.join(work, "explog.csv")
        with open(explog, "w") as f:
            f.write('shot,gas,note\n7,D2,"a, b"\n8,H2,plain\n')
        server = subprocess.Popen([program, "--store", store, "--bind", "127.0.0.1", "--port", "0",
                                   "--explog", explog], stdout=subprocess.PIPE, text=True)
        line = server.stdout.readline().strip()
        prefix = "listening on "
        if not line.startswith(prefix):
            print("FAIL unexpected first line %r" % line)
            return 1
        client = zeep.Client(wsdl, transport=LocalTransport())
        tns = client.wsdl.services["tavolen"].ports["tavolen"].binding.name.namespace
        svc = client.create_service("{%s}tavolen" % tns, line[len(prefix):])
        run(svc, client, tns, os.path.realpath(store))
    finally:
        if server:
            server.terminate()
            server.wait(timeout=10)
        shutil.rmtree(work, ignore_errors=True)
    print("%d passed, %d failed" % (checks[0] - len(failures), len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())

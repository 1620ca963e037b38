"""Records in Python: files byte-identical to the C++ writer's, views over the record's own numbers,
records that travel (pickle, copies, xarray and back), the xarray engine, the plot command and the errors."""

import copy
import gc
import os
import pickle
import struct
import subprocess
import sys

import numpy as np
import pytest
import xarray

import anadata


def tool(*args):
    subprocess.run([os.environ["ANADATA_TOOL"], *args], check=True, stdout=subprocess.DEVNULL)


def sample(date, channels=3, values=("signal", "noise")):
    """What `anadata sample` writes, built from numpy."""
    time = 0.001 * np.arange(5)
    channel = np.arange(float(channels))
    numbers = {"signal": time[:, None] * (channel + 1), "noise": np.tile(channel / 100, (5, 1))}
    return anadata.Record("sample", 1234, date=date, comment="sample data set made by anadata sample",
                          dims=[("time", "s", time), ("channel", "", channel)],
                          values=[(name, "V", numbers[name]) for name in values])


def test_files_are_byte_identical_to_the_library_writer(workdir):
    tool("sample", "c.dat")
    tool("sample", "--dump", "c.dump")
    tool("convert", "c.dump", "c16.dat", "--text")  # every bit: 16 digits
    cases = [(sample(anadata.read("c.dat").date), {"precision": 6}, "c.dat"),
             (anadata.read("c.dump"), {"format": "dump"}, "c.dump"),
             (anadata.read("c.dump"), {}, "c16.dat")]  # every bit by default
    for rec, options, reference in cases:
        rec.write("py", overwrite=True, **options)
        assert (workdir / "py").read_bytes() == (workdir / reference).read_bytes(), reference


def test_columns_are_views_of_the_record(workdir):
    rec = sample("01/02/2003 04:05")
    signal, time = rec.values["signal"].data, rec.dims["time"].data
    assert signal.shape == rec.shape == (5, 3) and np.shares_memory(signal, rec.values["signal"].data)
    signal[4, 2] = 42.0
    assert rec.values["signal"].data[4, 2] == 42.0
    rec.write("w.dat")
    assert anadata.read("w.dat").values["signal"].data[4, 2] == 42.0
    del rec
    gc.collect()
    assert signal[4, 2] == 42.0 and time[1] == 0.001  # the views keep the numbers alive


def test_building_converts_and_checks_the_grid():
    ints = np.arange(15).reshape(3, 5).T  # integers, not contiguous
    dims = [("a", "", range(5)), ("b", "", [0, 1, 2])]
    column = anadata.Record("r", 1, dims=dims, values=[("v", "", ints)]).values["v"].data
    assert column.dtype == np.float64 and (column == ints).all()
    for wrong in (np.zeros(14), np.zeros((3, 5)), 1.0):
        with pytest.raises(ValueError, match="'v'"):
            anadata.Record("r", 1, dims=dims, values=[("v", "", wrong)])


def test_to_xarray():
    rec = sample("01/02/2003 04:05")
    ds = rec.to_xarray()
    assert dict(ds.sizes) == {"time": 5, "channel": 3} and ds["signal"].dims == ("time", "channel")
    assert [ds[v].attrs for v in ("signal", "time", "channel")] == [{"units": "V"}, {"units": "s"}, {"units": ""}]
    assert ds.attrs == {"name": "sample", "shot": 1234, "subshot": 1, "date": "01/02/2003 04:05",
                        "comment": "sample data set made by anadata sample"}
    np.testing.assert_array_equal(ds["noise"].values, rec.values["noise"].data)


def test_records_travel(workdir):
    tool("sample", "t.dat")
    rec = anadata.read("t.dat")  # its empty unit read as a blank
    rec.values["noise"].data[0, 0] = np.nan
    buffers = []
    data = pickle.dumps(rec, protocol=5, buffer_callback=buffers.append)
    assert [len(b.raw()) for b in buffers] == [40, 24, 120, 120] and len(data) < 500  # raw numbers, out of band
    for other in (pickle.loads(data, buffers=buffers), pickle.loads(pickle.dumps(rec, protocol=2)),
                  copy.deepcopy(rec), anadata.Record.from_xarray(rec.to_xarray())):
        assert other == rec and rec.dims["channel"].unit == other.dims["channel"].unit == ""
    twin, own = copy.copy(rec), copy.deepcopy(rec)
    rec["signal"][0, 0] = 7.0
    assert twin == rec and own != rec and np.shares_memory(rec["signal"], rec.values["signal"].data)
    assert len(rec) == 15 and rec["time"][1] == 0.001
    with pytest.raises(KeyError):
        rec["missing"]


def test_xarray_engine_opens_by_content(workdir):
    tool("sample", "text.bin")
    tool("sample", "--dump", "dump.dat")
    (workdir / "other.dat").write_text("# a comment, then numbers\n1 2\n")
    for path in ("text.bin", "dump.dat"):  # no engine named: found by the first bytes
        assert xarray.open_dataset(path).identical(anadata.read(path).to_xarray())
    with pytest.raises(ValueError):
        xarray.open_dataset("other.dat")
    assert xarray.open_dataset("dump.dat", engine="anadata", drop_variables=["noise"]).data_vars.keys() == {"signal"}


def test_plot_command_writes_a_png(workdir):
    line = anadata.Record("line", 7, dims=[("t", "s", np.arange(4.0))], values=[("u", "V", np.ones(4))])
    cases = [(line, (800, 400)), (sample("01/02/2003 04:05"), (800, 650)),
             (sample("01/02/2003 04:05", channels=20, values=["signal"]), (800, 400))]  # an image
    for rec, size in cases:
        rec.write("p.dat", overwrite=True)
        subprocess.run([sys.executable, "-m", "anadata", "plot", "p.dat", "-o", "p.png"], check=True,
                       env=dict(os.environ, MPLCONFIGDIR=str(workdir)))
        head = (workdir / "p.png").read_bytes()[:24]
        assert head[:8] == b"\x89PNG\r\n\x1a\n" and struct.unpack(">II", head[16:24]) == size


def test_record_errors(workdir):
    tool("sample", "--dump", "t.dump")
    (workdir / "short.dump").write_bytes((workdir / "t.dump").read_bytes()[:100])
    (workdir / "bad.dat").write_text("# [Parameters]\n# Name=\n")
    tool("sample", "s.dat")
    (workdir / "cut.dat").write_bytes((workdir / "s.dat").read_bytes()[:-5])  # ... 2.000000e-02 cut to 2.000000e
    cases = [(lambda: anadata.read("missing.dat"), anadata.IOError, "No such file"),
             (lambda: anadata.read("."), anadata.IOError, "Is a directory"),
             (lambda: anadata.read("bad.dat"), anadata.FormatError, "^bad.dat:2: NAME parameter error$"),
             (lambda: anadata.read("short.dump"), anadata.FormatError, "truncated"),
             (lambda: anadata.read("t.dump").write("no/such/dir"), anadata.IOError, "No such file"),
             (lambda: anadata.Record("r", 1).write("empty.dat"), anadata.FormatError, "^empty.dat: ValNo Error$"),
             (lambda: anadata.Record("r", "1"), TypeError, r"^Record.__init__\(\): argument 'shot' must be int, not "),
             (lambda: setattr(anadata.Record("r", 1), "subshot", 2**40), ValueError, "^Record.subshot = 1099511627776"),
             (lambda: anadata.read("t.dump").write("t.dump"), anadata.IOError, "exists"),
             (lambda: anadata.read("cut.dat"), anadata.FormatError, r"^cut.dat:\d+: the last line has no line feed"),
             (lambda: anadata.Session("http://127.0.0.1:1/").register_file("cut.dat", "x", 1), anadata.FormatError,
              "^cut.dat:")]
    for call, cls, message in cases:
        with pytest.raises(cls, match=message):
            call()
    assert not (workdir / "empty.dat").exists()
    assert anadata.read("cut.dat", lenient=True).values["noise"].data[-1, -1] == 2.0

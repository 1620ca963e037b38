"""open_shots against the reference service: missing shots, a shot replaced after the open, a grid that
differs, and a round trip through a dask.distributed cluster of process workers."""

import sys

import numpy as np
import pytest

import anadata


@pytest.fixture(scope="module")
def session():
    """The service's sample at shots 1234 (seeded), 1235 and 1237, its signal scaled by the shot."""
    s = anadata.Session()
    rec = s.fetch("sample", 1234)
    for shot in (1235, 1237):
        rec.shot = shot
        rec.values["signal"].data[...] *= 2
        s.register(rec, precision=16)
    return s


def test_missing_shots_are_listed_and_lazy_equals_eager(session, monkeypatch):
    ds = anadata.open_shots("sample", range(1233, 1239), session=session, shots_per_task=2)
    assert list(ds.shot.values) == [1234, 1235, 1237] and ds.attrs["missing_shots"] == [1233, 1236, 1238]
    assert ds.signal.dims == ("shot", "time", "channel") and ds.signal.attrs["units"] == "V"
    assert ds.channel.attrs["units"] == "" and ds.signal.chunks[0] == (2, 1)
    lazy = ds.compute()
    np.testing.assert_array_equal(lazy.signal.values[:, 4, 2], [0.012, 0.024, 0.048])
    monkeypatch.setitem(sys.modules, "dask.array", None)  # no dask: read at once
    assert anadata.open_shots("sample", range(1233, 1239), session=session).identical(lazy)
    with pytest.raises(anadata.NotFound, match="1233, 1236, 1238"):
        anadata.open_shots("sample", range(1233, 1239), session=session, missing="raise")


def test_a_shot_replaced_after_the_open_or_of_another_grid_is_named(session):
    ds = anadata.open_shots("sample", [1234, 1235], session=session)
    rec = session.fetch("sample", 1235)
    rec.comment = "replaced by a longer comment"
    session.register(rec, precision=16)
    with pytest.raises(anadata.Replaced, match=r"sample 1235/1: .* bytes when opened; .* bytes now"):
        ds.compute()
    odd = anadata.Record("sample", 1236, dims=[("time", "s", np.arange(3.0))], values=[("signal", "V", np.ones(3))])
    session.register(odd)
    try:
        with pytest.raises(anadata.GridMismatch, match=r"^sample shot 1236: .*time\(3\).* of shot 1234"):
            anadata.open_shots("sample", [1234, 1236], session=session).compute()
    finally:
        session.delete("sample", 1236)


@pytest.mark.filterwarnings("ignore::DeprecationWarning")  # tornado, under distributed
def test_a_distributed_cluster_of_processes(session, workdir):
    distributed = pytest.importorskip("dask.distributed")
    ds = anadata.open_shots("sample", [1234, 1237], session=session, shots_per_task=1)
    threaded = ds.compute(scheduler="threads")
    # The scheduler's HTTP server (the dashboard off) on a free port of 127.0.0.1, not on 8787.
    with distributed.LocalCluster(n_workers=1, threads_per_worker=2, processes=True, host="127.0.0.1",
                                  dashboard_address=None, scheduler_kwargs={"dashboard_address": "127.0.0.1:0"},
                                  local_directory=str(workdir)) as cluster, \
            distributed.Client(cluster) as client:
        assert ds.compute().identical(threaded)
        rec = session.fetch("sample", 1237)
        assert client.submit(lambda r: r, rec).result() == rec  # a Record travels both ways

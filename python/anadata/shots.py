"""One data name over many shots as one xarray Dataset with a leading "shot" dimension, read lazily in
groups of shots (one fetch_many each) when dask is there, at once otherwise."""

import operator

import numpy

from ._anadata import Session
from .errors import GridMismatch, NotFound, Replaced, batch_error, shot_list


def version_of(entry):
    """What tells two states of a data set apart: its catalogue row's file name, date and size."""
    return entry.filename, entry.filedate, entry.size


def catalogue_versions(session, name, shots, subshot):
    """{shot: (file name, file date, size)} of those of `shots` the catalogue lists for the name.

    One search over the shots' range. A service may cut an answer at its own row limit, below the
    one asked for; so while the last row comes before the end of the range, the search goes on
    after it (one more round trip when the last shots of the range do not exist).
    """
    wanted = set(shots)
    versions = {}
    first, last = min(wanted), max(wanted)
    while first <= last:
        rows = session.search(name, first, last, subshot=subshot, limit=min(last - first + 1, 100000))
        for e in rows:
            if e.name == name and e.subshot == subshot and e.shot in wanted:
                versions[e.shot] = version_of(e)
        reached = max((e.shot for e in rows), default=last)
        if reached >= last:
            break
        first = reached + 1
    return versions


def cached_versions(session, name, shots, subshot, group):
    """The versions of an offline session: those the cache holds (the rows its entries were stored
    under), read `group` shots at a time."""
    versions = {}
    for i in range(0, len(shots), group):
        records, _ = session.fetch_many(name, shots[i:i + group], subshot, errors="return")
        versions.update((shot, version_of(e)) for shot, e in records.entries.items() if shot in records)
    return versions


def columns_text(dims, values):
    """ "time(5) [s] x channel(3) []; signal [V] (5, 3)": sizes and units of a grid and its columns."""
    return (" x ".join(f"{n}({size}) [{u}]" for n, u, size in dims) + "; "
            + ", ".join(f"{n} [{u}] {shape}" for n, u, shape in values))


def grid_of(rec):
    """The text of a record's grid and columns (see columns_text) and its dimensions' coordinates."""
    dims = [(c.name, c.unit, c.data) for c in rec.dims.values()]
    text = columns_text([(n, u, len(d)) for n, u, d in dims],
                        [(c.name, c.unit, c.data.shape) for c in rec.values.values()])
    return text, dims


class Layout:
    """The grid and the value columns of the first shot, which every other shot must match."""

    def __init__(self, rec):
        self.shot = rec.shot
        self.shape = rec.shape
        self.text, dims = grid_of(rec)
        self.dims = [(n, u, numpy.array(d)) for n, u, d in dims]
        self.values = [(c.name, c.unit) for c in rec.values.values()]

    def check(self, rec):
        """Raises GridMismatch, naming the shot and both grids, when rec does not fit."""
        text, dims = grid_of(rec)
        if text != self.text or not all(numpy.array_equal(d, mine, equal_nan=True)
                                        for (_, _, d), (_, _, mine) in zip(dims, self.dims)):
            raise GridMismatch(f"{rec.name} shot {rec.shot}: its grid and columns ({text}) differ from "
                               f"those of shot {self.shot} ({self.text})"
                               + ("" if text != self.text else ": the coordinates differ"))


# The sessions this process has unpickled, by their options: the tasks that reach a worker of a
# dask.distributed cluster share one session there, and so its connections.
unpickled_sessions = {}


def unpickled_session(state):
    """The session of these options (a Session's pickled state) in this process."""
    key = tuple(sorted(state.items()))
    if key not in unpickled_sessions:
        session = Session.__new__(Session)
        session.__setstate__(state)
        unpickled_sessions[key] = session
    return unpickled_sessions[key]


class SharedSession:
    """A session in a task: the session itself where the task runs in this process, the one session
    of these options in another process it is pickled to."""

    def __init__(self, session):
        self.session = session

    def __reduce__(self):
        return SharedSession.load, (self.session.__getstate__(),)

    @staticmethod
    def load(state):
        return SharedSession(unpickled_session(state))


class Task:
    """What one task fetches: a group of shots and the versions the catalogue gave at open."""

    def __init__(self, session, name, subshot, versions, layout, jobs):
        self.session = SharedSession(session)
        self.name, self.subshot, self.versions, self.layout, self.jobs = name, subshot, versions, layout, jobs
        self.shots = list(versions)


def replaced_error(name, subshot, then, now):
    """Replaced, naming each shot whose version differs between `then` and `now` {shot: version}."""
    changed = [shot for shot in sorted(then) if now.get(shot) != then[shot]]
    lines = [f"{name} {shot}/{subshot}: {then[shot][1]}, {then[shot][2]} bytes when opened; "
             + (f"{now[shot][1]}, {now[shot][2]} bytes now" if shot in now else "deleted") for shot in changed]
    return Replaced(f"{name}: shots {shot_list(changed)} changed on the service after the dataset was opened; "
                    "open it again\n  " + "\n  ".join(lines))


def versions_fetched(records):
    """{shot: version} of the records a task's fetch_many got, by the rows of the batch's own
    catalogue search (offline: the rows the cache entries were stored under); no further request.

    A record the cache served is exactly the version of its row. A download began after that
    search, so a data set replaced in the moment between the two would pass under its old row.
    """
    return {shot: version_of(records.entries[shot]) for shot in records if shot in records.entries}


def fetch_group(task):
    """Fetches the task's shots with one fetch_many and returns {variable: array (shots, *grid)}.

    Each shot must still be the version the dataset was opened with (see versions_fetched): a data
    set replaced (or deleted) meanwhile raises Replaced rather than mixing two states of the data.
    """
    session = task.session.session
    records, failures = session.fetch_many(task.name, task.shots, task.subshot, jobs=task.jobs, errors="return")
    failed = {shot: e for shot, e in failures.items() if not isinstance(e, NotFound)}
    if failed:
        raise batch_error(f"open_shots {task.name}", failed, records)
    now = versions_fetched(records)
    if any(now.get(shot) != version for shot, version in task.versions.items()):
        raise replaced_error(task.name, task.subshot, task.versions, now)
    grid = task.layout.shape
    out = {name: numpy.empty((len(task.shots),) + grid) for name, _ in task.layout.values}
    for i, shot in enumerate(task.shots):
        rec = records.pop(shot)  # each record goes as soon as it is copied
        task.layout.check(rec)
        for name, column in out.items():
            column[i] = rec.values[name].data
    return out


def open_shots(name, shots, subshot=1, *, session=None, shots_per_task=32, jobs=8, missing="skip"):
    """The data set `name` of many shots as one xarray.Dataset along a leading "shot" dimension.

    The record's dimensions become coordinates and each value column a variable, with their units in
    attrs["units"]. One catalogue search finds which shots exist and their versions (file date and
    size); the first shot found is fetched to learn the grid. The data is fetched in tasks of
    `shots_per_task` shots, each one fetch_many with `jobs` transfers, through the session's cache
    when it has one: lazily, as dask arrays, when dask is installed (compute() on the threaded
    scheduler or on a dask.distributed cluster, whose workers open their own connections and
    cache objects), at once otherwise. An offline session finds the shots and their versions in
    its cache.

    missing="skip" leaves out shots without the data set and lists them in attrs["missing_shots"];
    "raise" raises NotFound naming them. A shot whose grid or columns differ raises GridMismatch, a
    data set replaced or deleted after the open raises Replaced, any other failure the error of the
    shots it hit (when computed, for a lazy dataset).
    """
    import xarray

    if missing not in ("skip", "raise"):
        raise ValueError(f'open_shots(): missing is "skip" or "raise", not {missing!r}')
    if shots_per_task < 1 or jobs < 1:
        raise ValueError("open_shots(): shots_per_task and jobs are at least 1")
    shots = list(dict.fromkeys(operator.index(shot) for shot in shots))
    if not shots:
        raise ValueError("open_shots(): no shots given")
    subshot = subshot or 1  # sub-shot 0 is registered as 1
    session = Session() if session is None else session

    if session.offline:
        versions = cached_versions(session, name, shots, subshot, shots_per_task)
    else:
        versions = catalogue_versions(session, name, shots, subshot)
    absent = [shot for shot in shots if shot not in versions]
    present = [shot for shot in shots if shot in versions]
    if (absent and missing == "raise") or not present:
        raise NotFound(f"open_shots {name}: no data set for shots {shot_list(absent)} (sub-shot {subshot})")
    layout = Layout(session.fetch(name, present[0], subshot))
    if "shot" in (n for n, _, _ in layout.dims):
        raise GridMismatch(f"{name}: a dimension named 'shot' leaves no room for the shot dimension")
    groups = [present[i:i + shots_per_task] for i in range(0, len(present), shots_per_task)]
    tasks = [Task(session, name, subshot, {shot: versions[shot] for shot in group}, layout, jobs)
             for group in groups]

    try:
        import dask.array  # noqa: F401
        arrays = lazy_arrays(tasks, layout)
    except ImportError:
        parts = [fetch_group(task) for task in tasks]
        arrays = {v: numpy.concatenate([part[v] for part in parts]) for v, _ in layout.values}

    grid = tuple(n for n, _, _ in layout.dims)
    coords = {"shot": ("shot", numpy.array(present, dtype=numpy.int64))}
    coords.update({n: (n, data, {"units": unit}) for n, unit, data in layout.dims})
    variables = {v: (("shot",) + grid, arrays[v], {"units": unit}) for v, unit in layout.values}
    attrs = {"name": name, "subshot": subshot, "missing_shots": absent}
    return xarray.Dataset(variables, coords=coords, attrs=attrs)


def lazy_arrays(tasks, layout):
    """{variable: dask array}: one fetch task per group, shared by all variables, and a selection of
    the variable from it."""
    from dask.array import Array
    from dask.base import tokenize
    from dask.highlevelgraph import HighLevelGraph

    session = tasks[0].session.session
    token = tokenize(session.endpoint, session.account,
                     [(t.name, t.subshot, sorted(t.versions.items())) for t in tasks], tasks[0].jobs)
    fetch = f"open_shots-fetch-{token}"
    fetches = {(fetch, i): (fetch_group, task) for i, task in enumerate(tasks)}
    chunks = (tuple(len(task.shots) for task in tasks),) + tuple((n,) for n in layout.shape)
    corner = (0,) * len(layout.shape)
    arrays = {}
    for v, _ in layout.values:
        key = f"open_shots-{v}-{token}"
        picks = {(key, i) + corner: (operator.getitem, (fetch, i), v) for i in range(len(tasks))}
        graph = HighLevelGraph({fetch: fetches, key: picks}, {fetch: set(), key: {fetch}})
        arrays[v] = Array(graph, key, chunks, dtype=numpy.float64, meta=numpy.empty((0,) * len(chunks)))
    return arrays

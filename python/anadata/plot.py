"""A quick look at a record with matplotlib: lines over a 1-D grid, a few lines or an image over a 2-D one."""

# A second dimension with more points than this is drawn as an image rather than as lines.
MAX_LINES = 8


def label(name, unit):
    """An axis label: the name, and the unit in brackets when there is one."""
    return f"{name} [{unit.strip()}]" if unit.strip() else name


def title(rec):
    """The figure's title: data name, shot (with the sub-shot when not 1) and date."""
    shot = f"{rec.shot}/{rec.subshot}" if rec.subshot > 1 else str(rec.shot)  # text files carry no sub-shot
    return f"{rec.name}   shot {shot}   {rec.date}"


def draw(rec, figure=None):
    """Draws the record on `figure` (a new matplotlib Figure when None) and returns the figure.

    Only the first point of any dimension after the second is drawn, as the title says.
    """
    if figure is None:
        from matplotlib.figure import Figure
        figure = Figure()
    dims = list(rec.dims.values())
    if not dims:
        raise ValueError(f"{rec.name} {rec.shot}: a record without dimensions has nothing to draw along")
    values = [column for column in rec.values.values() if column.data.shape == rec.shape]
    if not values:
        raise ValueError(f"{rec.name} {rec.shot}: no value column over the grid")
    heading = title(rec)
    if len(dims) > 2:
        fixed = ", ".join(f"{label(d.name, d.unit)} = {d.data[0]:g}" for d in dims[2:])
        heading += f"\n(at the first {fixed})"
    cut = (Ellipsis,) + (0,) * (len(dims) - 2) if len(dims) > 2 else (Ellipsis,)
    x = dims[0]
    if len(dims) == 1:
        units = list(dict.fromkeys(column.unit.strip() for column in values))
        axes = figure.subplots(len(units), 1, sharex=True, squeeze=False)[:, 0]
        for ax, unit in zip(axes, units):
            for column in values:
                if column.unit.strip() == unit:
                    ax.plot(x.data, column.data, label=column.name)
            ax.set_ylabel(unit)
            ax.legend(loc="best", fontsize="small")
    else:
        y = dims[1]
        axes = figure.subplots(len(values), 1, sharex=True, squeeze=False)[:, 0]
        for ax, column in zip(axes, values):
            data = column.data[cut]
            if len(y.data) <= MAX_LINES:
                for j, coordinate in enumerate(y.data):
                    ax.plot(x.data, data[:, j], label=f"{y.name} = {coordinate:g} {y.unit.strip()}".rstrip())
                ax.set_ylabel(label(column.name, column.unit))
                ax.legend(loc="best", fontsize="small")
            else:
                mesh = ax.pcolormesh(x.data, y.data, data.T, shading="auto")
                figure.colorbar(mesh, ax=ax, label=label(column.name, column.unit))
                ax.set_ylabel(label(y.name, y.unit))
    axes[-1].set_xlabel(label(x.name, x.unit))
    figure.suptitle(heading)
    figure.set_size_inches(8, 1.5 + 2.5 * len(axes))
    return figure

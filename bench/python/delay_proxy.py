#!/usr/bin/env python3
"""A loopback TCP proxy that delays every byte by a fixed time each way, as bench/support/DelayProxy.h does
for the C++ benchmarks: what one side sends reaches the other DELAY_MS later, so a request and its reply
cost twice the delay, however many connections are open.

    /usr/bin/python3 bench/python/delay_proxy.py UPSTREAM_PORT DELAY_MS

Listens on 127.0.0.1 (a free port), prints "listening on http://127.0.0.1:PORT/" and runs until killed.
"""

import asyncio
import contextlib
import sys


async def pipe(reader, writer, delay):
    """Copies reader to writer, each chunk sent `delay` seconds after it arrived."""
    loop = asyncio.get_running_loop()
    queue = asyncio.Queue()

    async def send():
        while (item := await queue.get())[1]:
            await asyncio.sleep(max(0.0, item[0] - loop.time()))
            writer.write(item[1])
            await writer.drain()
        if writer.can_write_eof():
            writer.write_eof()

    sender = asyncio.create_task(send())
    with contextlib.suppress(OSError):
        while chunk := await reader.read(65536):
            queue.put_nowait((loop.time() + delay, chunk))
    queue.put_nowait((0.0, b""))
    with contextlib.suppress(OSError):
        await sender


async def main(upstream_port, delay):
    async def serve(client_reader, client_writer):
        try:
            upstream_reader, upstream_writer = await asyncio.open_connection("127.0.0.1", upstream_port)
        except OSError:
            client_writer.close()
            return
        await asyncio.gather(pipe(client_reader, upstream_writer, delay), pipe(upstream_reader, client_writer, delay))
        for writer in (client_writer, upstream_writer):
            writer.close()

    server = await asyncio.start_server(serve, "127.0.0.1", 0, backlog=256)
    print(f"listening on http://127.0.0.1:{server.sockets[0].getsockname()[1]}/", flush=True)
    async with server:
        await server.serve_forever()


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    asyncio.run(main(int(sys.argv[1]), int(sys.argv[2]) / 1000))

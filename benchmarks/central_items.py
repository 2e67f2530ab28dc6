"""The figures of a central database, as rows of the table."""
import asyncio
import pathlib
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "boardsim/rack"))
import database
import table

ROUNDS = 5
SMALL = 10_000
MILLION = 1_000_000
# So many runs, each with a connection, an attempt and a measurement, units with two runs each; as a superuser, whom
# triggers do not concern then.
FILL = """
SET session_replication_role = replica;
INSERT INTO plan VALUES ('p', 'bench', '1', 'format = 1') ON CONFLICT DO NOTHING;
INSERT INTO run SELECT md5('r' || n), 'AB' || lpad((n / 2)::text, 8, '0'), 'p', 'production', 'ICT-1', '1', NULL,
  '192.0.2.7:36001', 'BUILD: Mar 29 2019-22:09:55', n % 2 + 1, at, at, 9.5,
  CASE n % 20 WHEN 0 THEN 'failed' ELSE 'passed' END, NULL, 0, 't1station bench', n, md5('h' || n), md5('h' || n), 'filled'
  FROM (SELECT n, '2026-01-01Z'::timestamptz + n * interval '10 s' AS at FROM generate_series({first}, {last}) AS n) AS runs;
INSERT INTO connection SELECT md5('c' || n), md5('r' || n), '2026-01-01Z', '192.0.2.7:36001', 'BUILD: Mar 29 2019-22:09:55'
  FROM generate_series({first}, {last}) AS n;
INSERT INTO attempt SELECT md5('a' || n), md5('r' || n), md5('c' || n), 'step-0', 0, 1, 7426, NULL, '2026-01-01Z',
  '2026-01-01Z', 1.5, 'passed', 'test', '20.5', convert_to(repeat('q', 150), 'UTF8'), convert_to(repeat('r', 300), 'UTF8'),
  NULL, NULL FROM generate_series({first}, {last}) AS n;
INSERT INTO measurement SELECT md5('a' || n), 0, 'degrees', 20.5, NULL, 10, NULL, 'passed'
  FROM generate_series({first}, {last}) AS n;
ANALYZE;
"""


async def fill(its, first, last):
    administrator = ["-X", "-q", "-v", "ON_ERROR_STOP=1", "-d", its.url("admin")]
    await database.run(its.tools / "psql", *administrator, "-c", FILL.format(first=first, last=last))


def seconds_of(station, url):
    begun = time.monotonic()
    subprocess.run([station, "stats", url, "--json"], stdout=subprocess.DEVNULL, check=True)
    return time.monotonic() - begun


async def measure(build, most):
    """Seconds of each round: of a small database, and of one with `most` runs."""
    station = build / "station/t1station"
    its = database.Database(database.folder_of_tools())
    try:
        await its.make(station)
        found = []
        for first, last in ((1, SMALL), (SMALL + 1, most)):
            await fill(its, first, last)
            found.append([seconds_of(station, its.url()) for _ in range(ROUNDS)])
        return found
    finally:
        await its.close()


def central(build, most=MILLION):
    """`t1station stats URL` of a PostgreSQL with a million runs; minutes, and only when it is named."""
    if not database.folder_of_tools():
        print("No PostgreSQL server is installed (Debian's package postgresql)", file=sys.stderr)
        return []
    small, large = asyncio.run(measure(build, most))
    name = f"Figures of a central database, {most:,} runs"
    return [table.Row(name, statistics.median(large), "seconds"), table.Row(name, table.ratio(large, small), f"{SMALL:,} runs")]

-- Tables of a central database in partitions by time, so that what is old can be dropped as a whole. docs/scaling.md
-- says when that is worth it, and what it costs.
--
-- Behind `t1station records central init URL` and before the first run is sent:
--     psql -v ON_ERROR_STOP=1 -d boards -f central-partitions.sql
--     psql -d boards -c "CALL boardtest_add_partition('2026_11', '2026-11-01Z', '2026-12-01Z')"
--     t1station records central init URL --role line
-- and each month one more CALL, before the month begins.
--
-- Ids are UUIDs of version 7 as texts: they begin with the time, and sort by it. So they are the partitions' key, and
-- no column is added. Keys without an id are unique within a partition only; a station keeps its own numbers unique.
BEGIN;

CREATE FUNCTION boardtest_first_id(at timestamptz) RETURNS text LANGUAGE sql IMMUTABLE AS $$
  SELECT substr(digits, 1, 8) || '-' || substr(digits, 9)
  FROM lpad(to_hex((extract(epoch FROM at) * 1000)::bigint), 12, '0') AS digits
$$;

CREATE TABLE new_run (LIKE run INCLUDING CONSTRAINTS) PARTITION BY RANGE (id);
CREATE TABLE new_connection (LIKE connection INCLUDING CONSTRAINTS) PARTITION BY RANGE (id);
CREATE TABLE new_attempt (LIKE attempt INCLUDING CONSTRAINTS) PARTITION BY RANGE (id);
CREATE TABLE new_measurement (LIKE measurement INCLUDING CONSTRAINTS) PARTITION BY RANGE (attempt_id);
CREATE TABLE new_event (LIKE event INCLUDING CONSTRAINTS) PARTITION BY RANGE (id);

-- Rows that are there already must not be lost.
DO $$ BEGIN
  IF EXISTS (SELECT FROM run) OR EXISTS (SELECT FROM event) THEN
    RAISE EXCEPTION 'there are runs or events: partitions are made before the first one is sent';
  END IF;
END $$;
DROP TABLE run, connection, attempt, measurement, event;
ALTER TABLE new_run RENAME TO run;
ALTER TABLE new_connection RENAME TO connection;
ALTER TABLE new_attempt RENAME TO attempt;
ALTER TABLE new_measurement RENAME TO measurement;
ALTER TABLE new_event RENAME TO event;

ALTER TABLE run ADD PRIMARY KEY (id), ADD FOREIGN KEY (plan_id) REFERENCES plan;
ALTER TABLE connection ADD PRIMARY KEY (id), ADD FOREIGN KEY (run_id) REFERENCES run;
ALTER TABLE attempt ADD PRIMARY KEY (id), ADD FOREIGN KEY (run_id) REFERENCES run,
  ADD FOREIGN KEY (connection_id) REFERENCES connection;
ALTER TABLE measurement ADD PRIMARY KEY (attempt_id, position), ADD FOREIGN KEY (attempt_id) REFERENCES attempt;
ALTER TABLE event ADD PRIMARY KEY (id), ADD FOREIGN KEY (run_id) REFERENCES run;
CREATE INDEX run_by_serial ON run (serial);
CREATE INDEX run_by_start ON run (started);
CREATE INDEX run_by_plan ON run (plan_id);
CREATE INDEX run_by_chain ON run (chain, sequence);
CREATE INDEX connection_by_run ON connection (run_id);
CREATE INDEX attempt_by_run ON attempt (run_id, step_index, number);
CREATE INDEX attempt_by_connection ON attempt (connection_id);
CREATE INDEX event_by_chain ON event (chain, sequence);
CREATE INDEX event_by_serial ON event (serial, kind, sequence);
CREATE INDEX event_by_run ON event (run_id);

CREATE PROCEDURE boardtest_refuse_changes(name text) LANGUAGE plpgsql AS $$
BEGIN
  EXECUTE format('CREATE TRIGGER refuse BEFORE UPDATE OR DELETE OR TRUNCATE ON %I FOR EACH STATEMENT '
                 'EXECUTE FUNCTION boardtest_refuse()', name);
END $$;

-- Partitions for what begins in this span of time.
CREATE PROCEDURE boardtest_add_partition(name text, from_time timestamptz, to_time timestamptz) LANGUAGE plpgsql AS $$
DECLARE parent text;
BEGIN
  FOREACH parent IN ARRAY ARRAY['run', 'connection', 'attempt', 'measurement', 'event'] LOOP
    EXECUTE format('CREATE TABLE %I PARTITION OF %I FOR VALUES FROM (%L) TO (%L)', parent || '_' || name, parent,
                   boardtest_first_id(from_time), boardtest_first_id(to_time));
    CALL boardtest_refuse_changes(parent || '_' || name);
  END LOOP;
  EXECUTE format('ALTER TABLE %I ADD UNIQUE (chain, sequence)', 'run_' || name);
  EXECUTE format('ALTER TABLE %I ADD UNIQUE (chain, sequence)', 'event_' || name);
  EXECUTE format('ALTER TABLE %I ADD UNIQUE (run_id, step_index, number)', 'attempt_' || name);
END $$;

-- Drops the oldest partitions, with all that belongs to their runs: what a run did behind the end of its partition
-- lies in the next one. Give the time at which the partitions end. A station asks for the last run and the last event
-- that are there, and sends what is behind them: where one of these would go, nothing is dropped, unless `even_last`
-- says that the stations of such chains send no more.
CREATE PROCEDURE boardtest_drop_partition(name text, to_time timestamptz, even_last boolean DEFAULT false)
LANGUAGE plpgsql AS $$
DECLARE
  parent text;
  emptied text;
  first_kept text := boardtest_first_id(to_time);
BEGIN
  IF EXISTS (SELECT FROM pg_inherits JOIN pg_class ON oid = inhrelid WHERE inhparent = 'run'::regclass
             AND position(format('TO (%L)', first_kept) IN pg_get_expr(relpartbound, oid)) > 0
             AND relname = 'run_' || name) IS NOT TRUE THEN
    RAISE EXCEPTION 'run_% is no partition that ends at %', name, to_time;
  END IF;
  SELECT string_agg(chain, ', ') INTO emptied FROM (
    (SELECT chain FROM run WHERE id < first_kept EXCEPT SELECT chain FROM run WHERE id >= first_kept)
    UNION (SELECT chain FROM event WHERE id < first_kept EXCEPT SELECT chain FROM event WHERE id >= first_kept)
  ) AS chains;
  IF emptied IS NOT NULL AND NOT even_last THEN
    RAISE EXCEPTION 'the last run or event of a chain would go, which its station then sends anew: %', emptied;
  END IF;
  FOREACH parent IN ARRAY ARRAY['measurement', 'attempt', 'connection', 'event'] LOOP
    EXECUTE format('ALTER TABLE %I DISABLE TRIGGER refuse', parent);
  END LOOP;
  DELETE FROM measurement USING attempt
    WHERE attempt_id >= first_kept AND attempt.id = attempt_id AND attempt.run_id < first_kept;
  DELETE FROM attempt WHERE id >= first_kept AND run_id < first_kept;
  DELETE FROM connection WHERE id >= first_kept AND run_id < first_kept;
  DELETE FROM event WHERE id >= first_kept AND run_id < first_kept;
  FOREACH parent IN ARRAY ARRAY['measurement', 'attempt', 'connection', 'event'] LOOP
    EXECUTE format('ALTER TABLE %I ENABLE TRIGGER refuse', parent);
  END LOOP;
  FOREACH parent IN ARRAY ARRAY['measurement', 'attempt', 'connection', 'event', 'run'] LOOP
    EXECUTE format('ALTER TABLE %I DETACH PARTITION %I', parent, parent || '_' || name);
    EXECUTE format('DROP TABLE %I', parent || '_' || name);
  END LOOP;
END $$;

DO $$
DECLARE parent text;
BEGIN
  FOREACH parent IN ARRAY ARRAY['run', 'connection', 'attempt', 'measurement', 'event'] LOOP
    CALL boardtest_refuse_changes(parent);
  END LOOP;
END $$;

COMMIT;

-- Records as version 1 of the tables has them, written with sqlite3's .dump.
PRAGMA application_id=1412526691;
PRAGMA user_version=1;
PRAGMA foreign_keys=OFF;
BEGIN TRANSACTION;
CREATE TABLE plan (
  id TEXT NOT NULL PRIMARY KEY,
  name TEXT NOT NULL,
  version TEXT NOT NULL,
  text TEXT NOT NULL
) STRICT, WITHOUT ROWID;
INSERT INTO "plan" VALUES('c63473bca27e0152dd73de565b34b5cbb8cbc44c97c3b353c9875300b953d550','main-board','3',replace('format = 1\nname = "main-board"\nversion = "3"\nserial = ''[A-Z]{2}[0-9]{8}''\nbuild = ''BUILD: .*''\nmax_runs = 2\n\n[[step]]\nname = "clock"\ntest = "rtc"\nattempts = 2\non_fail = "stop"\n\n[[step]]\nname = "temperature"\ntest = "temp"\n\n[[step.measure]]\nname = "degrees"\nmatch = ''(-?[0-9.]+)''\nunit = "degC"\nlow = 10.0\nhigh = 60.0\n','\n',char(10)));
CREATE TABLE run (
  id TEXT NOT NULL PRIMARY KEY,
  serial TEXT NOT NULL,
  plan_id TEXT NOT NULL REFERENCES plan(id),
  kind TEXT NOT NULL CHECK (kind IN ('production', 'check')),
  station TEXT NOT NULL,
  slot TEXT,
  operator TEXT,
  board TEXT,
  build TEXT,
  number INTEGER NOT NULL,
  started TEXT NOT NULL,
  ended TEXT,
  seconds REAL,
  verdict TEXT CHECK (verdict IN ('passed', 'failed', 'error', 'stopped', 'interrupted')),
  reason TEXT,
  retried INTEGER CHECK (retried IN (0, 1)),
  software TEXT NOT NULL,
  sequence INTEGER UNIQUE,
  previous TEXT,
  hash TEXT,
  CHECK ((verdict IS NULL) = (ended IS NULL) AND (verdict IS NULL) = (sequence IS NULL)),
  CHECK ((verdict IS NULL) = (retried IS NULL)),
  CHECK (hash IS NULL OR verdict IS NOT NULL)
) STRICT, WITHOUT ROWID;
INSERT INTO run VALUES('01a202c8-4e6e-7000-966f-5c5b43d5b6e1','AB00000001','c63473bca27e0152dd73de565b34b5cbb8cbc44c97c3b353c9875300b953d550','production','ICT-3','1',NULL,'192.0.2.7:36001','BUILD: Mar 29 2019-22:09:55',1,'2026-11-22T10:23:31.438Z','2026-11-22T10:23:31.466Z',0.0,'passed',NULL,1,'t1station test',1,NULL,'3e85cd2366bee6a2e105e23cf8593928381e06cdb7f2598af8b0b6ead03196e5');
INSERT INTO run VALUES('01a202c8-4e8e-7000-8ea7-7a4d7e9008d3','AB00000002','c63473bca27e0152dd73de565b34b5cbb8cbc44c97c3b353c9875300b953d550','production','ICT-3','1',NULL,'192.0.2.7:36001','BUILD: Mar 29 2019-22:09:55',1,'2026-11-22T10:23:31.470Z','2026-11-22T10:23:31.494Z',0.0,'failed','step clock: failed (attempt 2): said so',1,'t1station test',2,'3e85cd2366bee6a2e105e23cf8593928381e06cdb7f2598af8b0b6ead03196e5','86e58e2ea227b547328a4acf33ad03dad5a92767e198f8aa47a6ee1d9a8ed33e');
INSERT INTO run VALUES('01a202c8-4eaa-7000-80f7-ab375e6f2159','AB00000003','c63473bca27e0152dd73de565b34b5cbb8cbc44c97c3b353c9875300b953d550','production','ICT-3','1',NULL,'192.0.2.7:36001','BUILD: Mar 29 2019-22:09:55',1,'2026-11-22T10:23:31.498Z','2026-11-22T10:23:31.526Z',12.5,'error','the board was gone',0,'t1station test',3,'86e58e2ea227b547328a4acf33ad03dad5a92767e198f8aa47a6ee1d9a8ed33e','4726a3052c407ee0ea7b0bfc34ac91ef476f5ce16f6f13f18670989e1a1094ee');
CREATE TABLE connection (
  id TEXT NOT NULL PRIMARY KEY,
  run_id TEXT NOT NULL REFERENCES run(id),
  at TEXT NOT NULL,
  board TEXT NOT NULL,
  build TEXT NOT NULL
) STRICT, WITHOUT ROWID;
INSERT INTO connection VALUES('01a202c8-4e71-7000-a144-1253b278e378','01a202c8-4e6e-7000-966f-5c5b43d5b6e1','2026-11-22T10:23:31.441Z','192.0.2.7:36001','BUILD: Mar 29 2019-22:09:55');
INSERT INTO connection VALUES('01a202c8-4e91-7000-96e0-d6243dc70546','01a202c8-4e8e-7000-8ea7-7a4d7e9008d3','2026-11-22T10:23:31.473Z','192.0.2.7:36001','BUILD: Mar 29 2019-22:09:55');
INSERT INTO connection VALUES('01a202c8-4eb1-7000-86d7-05c657cd5715','01a202c8-4eaa-7000-80f7-ab375e6f2159','2026-11-22T10:23:31.505Z','192.0.2.7:36001','BUILD: Mar 29 2019-22:09:55');
CREATE TABLE attempt (
  id TEXT NOT NULL PRIMARY KEY,
  run_id TEXT NOT NULL REFERENCES run(id),
  connection_id TEXT REFERENCES connection(id),
  step TEXT NOT NULL,
  step_index INTEGER NOT NULL,
  number INTEGER NOT NULL,
  code INTEGER NOT NULL,
  parameter INTEGER,
  started TEXT NOT NULL,
  ended TEXT,
  seconds REAL,
  outcome TEXT CHECK (outcome IN ('passed', 'failed', 'timed_out', 'broken', 'stopped', 'interrupted')),
  board_name TEXT,
  description TEXT,
  request BLOB NOT NULL,
  reply BLOB,
  console BLOB,
  answer TEXT CHECK (answer IN ('yes', 'no')),
  UNIQUE (run_id, step_index, number),
  CHECK ((outcome IS NULL) = (ended IS NULL))
) STRICT, WITHOUT ROWID;
INSERT INTO attempt VALUES('01a202c8-4e74-7000-b31c-a85c6ecf4795','01a202c8-4e6e-7000-966f-5c5b43d5b6e1','01a202c8-4e71-7000-a144-1253b278e378','clock',0,1,1536,NULL,'2026-11-22T10:23:31.444Z','2026-11-22T10:23:31.449Z',1.5,'failed','RTC','said so',X'3c546573744974656d3e3c54657374436f64653e313533363c2f54657374436f64653e3c2f546573744974656d3e',X'3c5265706c792f3e',NULL,NULL);
INSERT INTO attempt VALUES('01a202c8-4e7e-7000-9368-6a79d1ccaa07','01a202c8-4e6e-7000-966f-5c5b43d5b6e1','01a202c8-4e71-7000-a144-1253b278e378','clock',0,2,1536,NULL,'2026-11-22T10:23:31.454Z','2026-11-22T10:23:31.454Z',1.5,'passed','RTC','said so',X'3c546573744974656d3e3c54657374436f64653e313533363c2f54657374436f64653e3c2f546573744974656d3e',X'3c5265706c792f3e',NULL,NULL);
INSERT INTO attempt VALUES('01a202c8-4e82-7000-b93e-6a51c76aeeea','01a202c8-4e6e-7000-966f-5c5b43d5b6e1','01a202c8-4e71-7000-a144-1253b278e378','temperature',1,1,7426,NULL,'2026-11-22T10:23:31.458Z','2026-11-22T10:23:31.460Z',1.5,'passed','RTC','said so',X'3c546573744974656d3e3c54657374436f64653e373432363c2f54657374436f64653e3c2f546573744974656d3e',X'3c5265706c792f3e',NULL,NULL);
INSERT INTO attempt VALUES('01a202c8-4e96-7000-bd95-210d52213314','01a202c8-4e8e-7000-8ea7-7a4d7e9008d3','01a202c8-4e91-7000-96e0-d6243dc70546','clock',0,1,1536,NULL,'2026-11-22T10:23:31.478Z','2026-11-22T10:23:31.481Z',1.5,'failed','RTC','said so',X'3c546573744974656d3e3c54657374436f64653e313533363c2f54657374436f64653e3c2f546573744974656d3e',X'3c5265706c792f3e',NULL,NULL);
INSERT INTO attempt VALUES('01a202c8-4e9e-7000-bf14-e1433aabb1f9','01a202c8-4e8e-7000-8ea7-7a4d7e9008d3','01a202c8-4e91-7000-96e0-d6243dc70546','clock',0,2,1536,NULL,'2026-11-22T10:23:31.486Z','2026-11-22T10:23:31.489Z',1.5,'failed','RTC','said so',X'3c546573744974656d3e3c54657374436f64653e313533363c2f54657374436f64653e3c2f546573744974656d3e',X'3c5265706c792f3e',NULL,NULL);
INSERT INTO attempt VALUES('01a202c8-4eba-7000-a705-7670a5c24f4b','01a202c8-4eaa-7000-80f7-ab375e6f2159','01a202c8-4eb1-7000-86d7-05c657cd5715','clock',0,1,1536,NULL,'2026-11-22T10:23:31.514Z','2026-11-22T10:23:31.521Z',1.5,'broken','RTC','said so',X'3c546573744974656d3e3c54657374436f64653e313533363c2f54657374436f64653e3c2f546573744974656d3e',X'c4e300ff',X'7072696e746564',NULL);
CREATE TABLE measurement (
  attempt_id TEXT NOT NULL REFERENCES attempt(id),
  position INTEGER NOT NULL,
  name TEXT NOT NULL,
  value REAL,
  unit TEXT,
  low REAL,
  high REAL,
  outcome TEXT NOT NULL CHECK (outcome IN ('passed', 'low', 'high', 'not_found')),
  PRIMARY KEY (attempt_id, position)
) STRICT, WITHOUT ROWID;
INSERT INTO measurement VALUES('01a202c8-4e82-7000-b93e-6a51c76aeeea',0,'degrees',35.25,'degC',10.0,60.0,'passed');
CREATE TABLE event (
  id TEXT NOT NULL PRIMARY KEY,
  at TEXT NOT NULL,
  kind TEXT NOT NULL,
  slot TEXT,
  run_id TEXT REFERENCES run(id),
  operator TEXT,
  detail TEXT,
  serial TEXT,
  sequence INTEGER NOT NULL UNIQUE,
  runs_ended INTEGER NOT NULL,
  previous TEXT,
  hash TEXT NOT NULL
) STRICT, WITHOUT ROWID;
INSERT INTO event VALUES('01a202c8-4e69-7000-a019-3752e3314ad8','2026-11-22T10:23:31.433Z','start',NULL,NULL,NULL,'{"process":947,"host":"vm","interrupted":0}',NULL,1,0,NULL,'844a84d2feca1b2c3eeb0d222f71a8521caedaad550c629b1eeea691e538a988');
INSERT INTO event VALUES('01a202c8-4ecd-7000-bc87-9e2e9af19ff0','2026-11-22T10:23:31.533Z','release',NULL,NULL,'Li','{"serial":"AB00000002","reason":"repaired"}','AB00000002',2,3,'844a84d2feca1b2c3eeb0d222f71a8521caedaad550c629b1eeea691e538a988','d7ce5529f56ced5ba4a6a7ea50468c7fa117e9600c50a3fad02ed0731c04c33c');
INSERT INTO event VALUES('01a202c8-4ed8-7000-9943-6a0de9932592','2026-11-22T10:23:31.544Z','end',NULL,NULL,NULL,'{"process":947}',NULL,3,3,'d7ce5529f56ced5ba4a6a7ea50468c7fa117e9600c50a3fad02ed0731c04c33c','c64f68b763bf6d3b1f09c778f9c34bff9f0a844fcb257968f32619ad2799c0fc');
CREATE TABLE forwarded (
  run_id TEXT NOT NULL PRIMARY KEY REFERENCES run(id),
  at TEXT NOT NULL,
  hash TEXT NOT NULL
) STRICT, WITHOUT ROWID;
CREATE INDEX run_by_serial ON run (serial);
CREATE INDEX run_by_start ON run (started);
CREATE INDEX run_by_plan ON run (plan_id);
CREATE INDEX run_open ON run (id) WHERE verdict IS NULL;
CREATE INDEX connection_by_run ON connection (run_id);
CREATE INDEX plan_by_name ON plan (name, version);
CREATE INDEX event_by_serial ON event (serial, kind, sequence);
CREATE INDEX event_by_run ON event (run_id);
CREATE TRIGGER run_insert BEFORE INSERT ON run
WHEN NEW.verdict IS NOT NULL OR NEW.ended IS NOT NULL OR NEW.hash IS NOT NULL OR NEW.previous IS NOT NULL
  OR EXISTS (SELECT 1 FROM run WHERE id = NEW.id)
BEGIN SELECT RAISE(ABORT, 'a run is stored once, and without its end'); END;
CREATE TRIGGER run_update BEFORE UPDATE ON run
WHEN OLD.hash IS NOT NULL
  OR (OLD.id, OLD.serial, OLD.plan_id, OLD.kind, OLD.station, OLD.slot, OLD.operator, OLD.number, OLD.started,
      OLD.software)
    IS NOT (NEW.id, NEW.serial, NEW.plan_id, NEW.kind, NEW.station, NEW.slot, NEW.operator, NEW.number,
            NEW.started, NEW.software)
  OR (OLD.board IS NOT NULL AND OLD.board IS NOT NEW.board)
  OR (OLD.build IS NOT NULL AND OLD.build IS NOT NEW.build)
  OR (OLD.verdict IS NOT NULL AND (OLD.ended, OLD.seconds, OLD.verdict, OLD.reason, OLD.retried, OLD.sequence,
        OLD.previous) IS NOT (NEW.ended, NEW.seconds, NEW.verdict, NEW.reason, NEW.retried, NEW.sequence,
        NEW.previous))
  OR (OLD.verdict IS NULL AND NEW.hash IS NOT NULL)
  OR (OLD.sequence IS NULL AND NEW.sequence IS NOT NULL
    AND NEW.sequence <> (SELECT coalesce(max(sequence), 0) + 1 FROM run))
BEGIN SELECT RAISE(ABORT, 'what is stored of a run stays; only its open end is filled, once'); END;
CREATE TRIGGER attempt_insert BEFORE INSERT ON attempt
WHEN NEW.outcome IS NOT NULL OR EXISTS (SELECT 1 FROM attempt WHERE id = NEW.id)
  OR EXISTS (SELECT 1 FROM attempt
    WHERE run_id = NEW.run_id AND step_index = NEW.step_index AND number = NEW.number)
  OR EXISTS (SELECT 1 FROM run WHERE id = NEW.run_id AND verdict IS NOT NULL)
BEGIN SELECT RAISE(ABORT, 'an attempt is stored once, without its end, in a run that has not ended'); END;
CREATE TRIGGER attempt_update BEFORE UPDATE ON attempt
WHEN OLD.outcome IS NOT NULL OR NEW.outcome IS NULL
  OR (OLD.id, OLD.run_id, OLD.connection_id, OLD.step, OLD.step_index, OLD.number, OLD.code, OLD.parameter,
      OLD.started, OLD.request)
    IS NOT (NEW.id, NEW.run_id, NEW.connection_id, NEW.step, NEW.step_index, NEW.number, NEW.code, NEW.parameter,
            NEW.started, NEW.request)
BEGIN SELECT RAISE(ABORT, 'what is stored of an attempt stays; only its open end is filled, once'); END;
CREATE TRIGGER connection_insert BEFORE INSERT ON connection
WHEN EXISTS (SELECT 1 FROM connection WHERE id = NEW.id)
  OR EXISTS (SELECT 1 FROM run WHERE id = NEW.run_id AND verdict IS NOT NULL)
BEGIN SELECT RAISE(ABORT, 'a connection is stored once, in a run that has not ended'); END;
CREATE TRIGGER measurement_insert BEFORE INSERT ON measurement
WHEN EXISTS (SELECT 1 FROM measurement WHERE attempt_id = NEW.attempt_id AND position = NEW.position)
  OR EXISTS (SELECT 1 FROM attempt WHERE id = NEW.attempt_id AND outcome IS NOT NULL)
BEGIN SELECT RAISE(ABORT, 'a measurement is stored once, in an attempt that has not ended'); END;
CREATE TRIGGER plan_insert BEFORE INSERT ON plan
WHEN EXISTS (SELECT 1 FROM plan WHERE id = NEW.id)
BEGIN SELECT RAISE(ABORT, 'a plan is stored once'); END;
CREATE TRIGGER event_insert BEFORE INSERT ON event
WHEN EXISTS (SELECT 1 FROM event WHERE id = NEW.id)
  OR NEW.sequence <> (SELECT coalesce(max(sequence), 0) + 1 FROM event)
BEGIN SELECT RAISE(ABORT, 'an event is stored once, behind all others'); END;
CREATE TRIGGER forwarded_insert BEFORE INSERT ON forwarded
WHEN EXISTS (SELECT 1 FROM forwarded WHERE run_id = NEW.run_id)
BEGIN SELECT RAISE(ABORT, 'a run is forwarded once'); END;
CREATE TRIGGER plan_update BEFORE UPDATE ON plan
BEGIN SELECT RAISE(ABORT, 'a plan is never changed'); END;
CREATE TRIGGER connection_update BEFORE UPDATE ON connection
BEGIN SELECT RAISE(ABORT, 'a connection is never changed'); END;
CREATE TRIGGER measurement_update BEFORE UPDATE ON measurement
BEGIN SELECT RAISE(ABORT, 'a measurement is never changed'); END;
CREATE TRIGGER event_update BEFORE UPDATE ON event
BEGIN SELECT RAISE(ABORT, 'an event is never changed'); END;
CREATE TRIGGER forwarded_update BEFORE UPDATE ON forwarded
BEGIN SELECT RAISE(ABORT, 'what was forwarded stays so'); END;
CREATE TRIGGER plan_delete BEFORE DELETE ON plan
BEGIN SELECT RAISE(ABORT, 'records are never deleted'); END;
CREATE TRIGGER run_delete BEFORE DELETE ON run
BEGIN SELECT RAISE(ABORT, 'records are never deleted'); END;
CREATE TRIGGER connection_delete BEFORE DELETE ON connection
BEGIN SELECT RAISE(ABORT, 'records are never deleted'); END;
CREATE TRIGGER attempt_delete BEFORE DELETE ON attempt
BEGIN SELECT RAISE(ABORT, 'records are never deleted'); END;
CREATE TRIGGER measurement_delete BEFORE DELETE ON measurement
BEGIN SELECT RAISE(ABORT, 'records are never deleted'); END;
CREATE TRIGGER event_delete BEFORE DELETE ON event
BEGIN SELECT RAISE(ABORT, 'records are never deleted'); END;
CREATE TRIGGER forwarded_delete BEFORE DELETE ON forwarded
BEGIN SELECT RAISE(ABORT, 'records are never deleted'); END;
COMMIT;

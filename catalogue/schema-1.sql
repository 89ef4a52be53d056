-- The catalogue of a collection, version 1. Times are nanoseconds since 1970 UTC. Paths are bytes, whatever their
-- encoding. Folders end with '/', so that a path is a folder's text and a file's, one after the other.

-- A scanned folder. It is known by its file system and its path there, wherever that is mounted.
CREATE TABLE roots (
  id INTEGER PRIMARY KEY,
  file_system TEXT NOT NULL, -- 'uuid:...'; where it has none 'fsid:...' or 'source:...'; 'unknown' of imported files
  path TEXT NOT NULL,        -- on that file system, from '/' on
  mounted TEXT NOT NULL,     -- the absolute path of the folder when it was seen last
  last_scan INTEGER,         -- begin of the last scan of all of it that reached its end
  UNIQUE (file_system, path)
) STRICT;

CREATE TABLE files (
  id INTEGER PRIMARY KEY,
  root INTEGER NOT NULL REFERENCES roots ON DELETE CASCADE,
  path TEXT NOT NULL,        -- below the root
  size INTEGER,              -- as it was when the file was hashed, like all up to links; NULL: imported, not known
  mtime_ns INTEGER,
  device INTEGER,            -- not the same after the disk was away
  inode INTEGER,
  links INTEGER,
  status TEXT NOT NULL CHECK (status IN ('hashed', 'unsupported', 'failed')),
  result INTEGER NOT NULL,   -- result code of the library
  recorded INTEGER NOT NULL, -- what was asked for: 1 sampled + 2 version3 + 4 whole and digest + 8 quick
  settled INTEGER NOT NULL,  -- 0: changed so shortly before it was hashed that its time may hide a later change
  digest BLOB,               -- XXH3-128 of the whole file, 16 bytes, the most significant first
  first_seen INTEGER NOT NULL,
  last_seen INTEGER,         -- NULL while it is there: then by the last scan (see the view present)
  missing_since INTEGER,     -- begin of the scan that did not find it any more; NULL: it is there
  UNIQUE (root, path)
) STRICT;
CREATE INDEX files_inode ON files (inode, device);
CREATE INDEX files_size ON files (size);
CREATE INDEX files_digest ON files (digest) WHERE digest IS NOT NULL;
CREATE INDEX files_missing ON files (missing_since) WHERE missing_since IS NOT NULL;

CREATE TABLE hashes (
  file INTEGER NOT NULL REFERENCES files ON DELETE CASCADE,
  kind TEXT NOT NULL CHECK (kind IN ('sampled', 'version3', 'whole', 'quick')),
  text TEXT NOT NULL,        -- 128 characters, a dot for each of a label that was never set
  algorithm INTEGER,         -- id; NULL, as both types: never set
  file_type TEXT,            -- 'PHOTO', 'VIDEO', 'AUDIO', ...
  format_type TEXT,          -- 'JPEG', ...
  content BLOB NOT NULL,     -- digests of 20 bytes
  meta BLOB NOT NULL,
  PRIMARY KEY (file, kind)
) STRICT, WITHOUT ROWID;
CREATE INDEX hashes_content ON hashes (content, kind);

-- What scans and verifications found. That a file is new stands in files.first_seen alone.
CREATE TABLE events (
  id INTEGER PRIMARY KEY,
  time INTEGER NOT NULL,
  file INTEGER NOT NULL REFERENCES files ON DELETE CASCADE,
  word TEXT NOT NULL,        -- 'changed', 'moved', 'missing', 'back', and the words of verify
  old_hash TEXT,
  new_hash TEXT,
  old_path TEXT              -- absolute, of one that moved
) STRICT;
CREATE INDEX events_time ON events (time);
CREATE INDEX events_file ON events (file);

CREATE TABLE scans (
  id INTEGER PRIMARY KEY,
  root INTEGER NOT NULL REFERENCES roots ON DELETE CASCADE,
  folder TEXT NOT NULL,      -- below the root; '' for all of it
  started INTEGER NOT NULL,
  ended INTEGER,             -- NULL: it did not reach its end
  seen INTEGER NOT NULL DEFAULT 0,
  hashed INTEGER NOT NULL DEFAULT 0,
  moved INTEGER NOT NULL DEFAULT 0,
  missing INTEGER NOT NULL DEFAULT 0,
  bytes INTEGER NOT NULL DEFAULT 0 -- of the files that were hashed
) STRICT;
CREATE INDEX scans_root ON scans (root);

-- ---- Views ----

-- The files that are there, one row each, times to be read.
CREATE VIEW present AS
SELECT files.id, roots.mounted || files.path AS path, files.size,
  datetime(files.mtime_ns / 1000000000, 'unixepoch') AS modified, files.status, files.result,
  hashes.file_type, hashes.format_type, hashes.text AS hash,
  datetime(files.first_seen / 1000000000, 'unixepoch') AS first_seen,
  datetime(max(files.first_seen, coalesce(roots.last_scan, 0)) / 1000000000, 'unixepoch') AS last_seen
FROM files JOIN roots ON roots.id = files.root
LEFT JOIN hashes ON hashes.file = files.id AND hashes.kind IN ('sampled', 'quick')
WHERE files.missing_since IS NULL;

CREATE VIEW missing AS
SELECT files.id, roots.mounted || files.path AS path, files.size,
  datetime(files.last_seen / 1000000000, 'unixepoch') AS last_seen,
  datetime(files.missing_since / 1000000000, 'unixepoch') AS missing_since, hashes.text AS hash
FROM files JOIN roots ON roots.id = files.root
LEFT JOIN hashes ON hashes.file = files.id AND hashes.kind IN ('sampled', 'quick')
WHERE files.missing_since IS NOT NULL;

CREATE VIEW failed AS SELECT id, path, size, modified, result FROM present WHERE status = 'failed';
CREATE VIEW unsupported AS SELECT id, path, size, modified FROM present WHERE status = 'unsupported';

-- Files whose hashes agree in everything that a comparison looks at, beside one another.
CREATE VIEW same AS
SELECT * FROM (
  SELECT lower(hex(hashes.content)) AS content, count(*) OVER agreeing AS copies, files.size,
    roots.mounted || files.path AS path
  FROM hashes JOIN files ON files.id = hashes.file JOIN roots ON roots.id = files.root
  WHERE hashes.kind = 'sampled' AND files.missing_since IS NULL
  WINDOW agreeing AS (PARTITION BY hashes.content, hashes.meta, substr(hashes.format_type, 1, 4), hashes.algorithm,
    substr(hashes.text, 1, 8)))
WHERE copies > 1 ORDER BY content, path;

CREATE VIEW formats AS
SELECT format_type, file_type, count(*) AS files, sum(size) AS bytes
FROM present WHERE status = 'hashed' GROUP BY format_type, file_type ORDER BY bytes DESC;

CREATE VIEW years AS
SELECT substr(modified, 1, 4) AS year, count(*) AS files, sum(size) AS bytes FROM present GROUP BY year ORDER BY year;

CREATE VIEW changes AS
SELECT files.first_seen AS time, 'new' AS word, roots.mounted || files.path AS path, NULL AS old_hash,
  hashes.text AS new_hash, NULL AS old_path
FROM files JOIN roots ON roots.id = files.root
LEFT JOIN hashes ON hashes.file = files.id AND hashes.kind IN ('sampled', 'quick')
UNION ALL
SELECT events.time, events.word, roots.mounted || files.path, events.old_hash, events.new_hash, events.old_path
FROM events JOIN files ON files.id = events.file JOIN roots ON roots.id = files.root;

-- What goes to other programs: names and order of these columns are an interface.
CREATE VIEW export AS
SELECT roots.mounted || files.path AS path, files.size AS length, files.mtime_ns AS modified_ns, files.status,
  files.result, hashes.text AS hash, hashes.algorithm, hashes.file_type, hashes.format_type,
  nullif(lower(hex(hashes.content)), '') AS content, nullif(lower(hex(hashes.meta)), '') AS meta
FROM files JOIN roots ON roots.id = files.root
LEFT JOIN hashes ON hashes.file = files.id AND hashes.kind IN ('sampled', 'quick')
WHERE files.missing_since IS NULL;

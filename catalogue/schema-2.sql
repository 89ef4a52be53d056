-- Version 2: the path that a file had at an event, what verifications covered and said, exports with whole hashes.

ALTER TABLE events ADD COLUMN path TEXT NOT NULL DEFAULT ''; -- absolute, of the file when it happened

-- Until now the path was that of today; where a file moved since tells what it was.
UPDATE events SET path = coalesce(
  (SELECT later.old_path FROM events AS later WHERE later.file = events.file AND later.id > events.id
    AND later.old_path IS NOT NULL AND later.old_path IS NOT events.old_path ORDER BY later.id LIMIT 1),
  (SELECT roots.mounted || files.path FROM files JOIN roots ON roots.id = files.root WHERE files.id = events.file), '');

CREATE TABLE verifications (
  id INTEGER PRIMARY KEY,
  started INTEGER NOT NULL,  -- the time of its events
  ended INTEGER,             -- NULL: it did not reach its end
  whole INTEGER,             -- 1: every byte was to be compared; NULL, as percent: not known of one before version 2
  percent INTEGER            -- of the files, chosen at random, that were read
) STRICT;

-- What a verification covered.
CREATE TABLE verified_folders (
  verification INTEGER NOT NULL REFERENCES verifications ON DELETE CASCADE,
  root INTEGER NOT NULL REFERENCES roots ON DELETE CASCADE,
  folder TEXT NOT NULL,      -- below the root; '' for all of it
  PRIMARY KEY (verification, root, folder)
) STRICT, WITHOUT ROWID;
CREATE INDEX verified_folders_root ON verified_folders (root);

-- Of how many files a verification that reached its end said a word.
CREATE TABLE verified_words (
  verification INTEGER NOT NULL REFERENCES verifications ON DELETE CASCADE,
  word TEXT NOT NULL,        -- those of verify, and 'not-compared'
  files INTEGER NOT NULL,
  PRIMARY KEY (verification, word)
) STRICT, WITHOUT ROWID;

-- Those before are told by the words that no scan says.
INSERT INTO verifications (started, ended)
  SELECT DISTINCT time, time FROM events WHERE word NOT IN ('changed', 'moved', 'missing', 'back') ORDER BY time;
INSERT INTO verified_words
  SELECT verifications.id, word, count(*) FROM events JOIN verifications ON started = time GROUP BY 1, 2;

-- What is the same but for its place is sought by both.
DROP INDEX files_size;
CREATE INDEX files_size ON files (size, mtime_ns);

-- ---- Views ----

DROP VIEW changes;
CREATE VIEW changes AS
SELECT files.first_seen AS time, 'new' AS word,
  coalesce((SELECT coalesce(old_path, path) FROM events WHERE file = files.id ORDER BY id LIMIT 1),
    roots.mounted || files.path) AS path,
  NULL AS old_hash, hashes.text AS new_hash, NULL AS old_path
FROM files JOIN roots ON roots.id = files.root
LEFT JOIN hashes ON hashes.file = files.id AND hashes.kind IN ('sampled', 'quick')
UNION ALL
SELECT time, word, path, old_hash, new_hash, old_path FROM events;

-- What goes to other programs: names and order of these columns are an interface. A file that has no sampled and no
-- quick hash stands there with that of the whole payload, if it has one.
DROP VIEW export;
CREATE VIEW export AS
SELECT roots.mounted || files.path AS path, files.size AS length, files.mtime_ns AS modified_ns, files.status,
  files.result, hashes.text AS hash, hashes.algorithm, hashes.file_type, hashes.format_type,
  nullif(lower(hex(hashes.content)), '') AS content, nullif(lower(hex(hashes.meta)), '') AS meta
FROM files JOIN roots ON roots.id = files.root
LEFT JOIN hashes ON hashes.file = files.id AND hashes.kind =
  (SELECT kind FROM hashes AS any WHERE any.file = files.id
    ORDER BY kind NOT IN ('sampled', 'quick'), kind <> 'version3' LIMIT 1)
WHERE files.missing_since IS NULL;

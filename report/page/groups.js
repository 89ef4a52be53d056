// Groups as the page needs them.

const kRowsAtFirst = 2; // of tiles, until more are wanted
const kRowsMore = 10;

const kFields = [
  {name: 'content', from: 18, to: 58},
  {name: 'meta', from: 58, to: 98},
  {name: 'format', from: 98, to: 106},
  {name: 'algorithm', from: 114, to: 116},
  {name: 'version', from: 0, to: 8},
];

const fieldOf = (file, field) => file.group.hashes[file.hash].slice(field.from, field.to);

function fieldsApart(a, b) {
  return kFields.filter((field) => fieldOf(a, field) !== fieldOf(b, field)).map((field) => field.name);
}

// What there is among the copies: "exact", "tags", "header", "unknown".
function likenessesOf(group) {
  const found = new Set();
  const perHash = new Map();
  for (const file of group.files) {
    if (!perHash.has(file.hash)) perHash.set(file.hash, []);
    perHash.get(file.hash).push(file.bytes);
  }
  for (const classes of perHash.values()) {
    const known = classes.filter((number) => number !== undefined);
    const distinct = new Set(known).size;
    if (distinct < known.length) found.add('exact');
    if (distinct > 1) found.add('tags');
    if (known.length < classes.length && classes.length > 1) found.add('unknown');
  }
  if (group.files.some((file) => fieldsApart(file, group.files[0]).length > 0)) found.add('header');
  return found;
}

const kLikenessWords = {exact: 'exact', tags: 're-tagged', header: 'header differs', unknown: 'not compared'};

// Files with equal bytes bear the same letter, where the group has more than one.
function lettersOf(group) {
  const letters = new Map();
  for (const file of group.files) {
    if (file.bytes !== undefined && !letters.has(file.bytes)) letters.set(file.bytes, letters.size);
  }
  return letters.size > 1 ? letters : new Map();
}

function prepare(group, index) {
  const paths = group.files.map((file) => file.path);
  for (const file of group.files) {
    file.group = group;
    file.seconds = Number(file.time);
  }
  group.index = index;
  group.shared = sharedFolder(paths);
  group.searched = paths.join('\n').toLowerCase();
  group.likenesses = likenessesOf(group);
  group.letters = lettersOf(group);
  group.newest = group.files.reduce((newest, file) => Math.max(newest, file.seconds), -Infinity);
  group.kept = group.files.find((file) => file.keep) ?? group.files.find((file) => file.reference) ?? group.files[0];
  group.rows = kRowsAtFirst;
}

data.groups.forEach(prepare);

const groupOf = (element) => data.groups[element?.closest?.('.group')?.dataset.group];
const fileOf = (element) => groupOf(element)?.files[element.closest('.tile')?.dataset.file];

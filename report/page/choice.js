// The choice: the files that are to go.

const chosen = new Set();
let isExported = true;

// Some copy that is here has to stay.
function mayGo(file) {
  if (file.reference || file.away) return false;
  return file.group.files.some((other) => other !== file && !other.away && !chosen.has(other));
}

function choose(file, goes) {
  if (!goes) chosen.delete(file);
  else if (mayGo(file)) chosen.add(file);
  isExported = false;
}

function chooseByRule(group) {
  if (!group.files.some((file) => file.keep && !file.away)) return; // what is kept is not here to be looked at
  for (const file of group.files) choose(file, !file.keep);
}

// Of a group's files that go those whose space is freed by it: each storage once, and none that is still in use.
function freeing(group, goes) {
  const taken = new Set(group.files.filter((file) => !goes(file)).map((file) => file.storage));
  return group.files.filter((file) => {
    if (!goes(file) || (file.storage !== undefined && taken.has(file.storage))) return false;
    taken.add(file.storage);
    return true;
  });
}

function freedBytes() {
  const groups = [...new Set([...chosen].map((file) => file.group))];
  return groups.flatMap((group) => freeing(group, (file) => chosen.has(file)))
    .reduce((bytes, file) => bytes + file.size, 0);
}

function showChoice() {
  const text = `${countOf(chosen.size, 'file', 'files')} to go, ${sizeOf(freedBytes())} freed`;
  byId('bar').hidden = chosen.size === 0;
  byId('chosen').textContent = text;
  byId('exported').textContent = text;
  for (const group of drawn.keys()) markChoice(group);
}

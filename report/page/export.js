// Saving the choice.

const chosenInOrder = () => data.groups.flatMap((group) => group.files.filter((file) => chosen.has(file)));

const shellWord = (text) => `'${text.replaceAll("'", "'\\''")}'`;

// What the script checks of a file before it moves it.
function shellFacts(file) {
  const hash = file.group.hashes[file.whole ?? file.hash];
  return `${file.size} ${file.time} ${hash ? shellWord(hash) : '-'} ${shellWord(file.path)}`;
}

// No walk finds such a path; one that a catalogue holds all the same would lead out of the folder.
const leadsUp = (path) => path.split('/').includes('..');

function scriptPart(group) {
  const stays = group.files.find((file) => !chosen.has(file) && !file.away);
  const lines = [`\nkeep ${shellFacts(stays)}\n`];
  for (const file of group.files.filter((each) => chosen.has(each))) {
    for (const companion of file.companions ?? []) lines.push(`# beside it, stays: ${shown(companion)}\n`);
    if (leadsUp(file.path)) {
      lines.push(`# not here: ${shown(file.path)}\n`);
      continue;
    }
    const below = data.roots.length > 1 ? file.path : file.path.slice(data.roots[file.root].length);
    const isExact = file.bytes !== undefined && file.bytes === stays.bytes;
    lines.push(`move ${shellFacts(file)} ${shellWord(below.replace(/^\/+/, ''))}${isExact ? ' exact' : ''}\n`);
  }
  return lines.join('');
}

function scriptOf(files) {
  const begin = data.script.begin.replace("'{to}'", () => shellWord(byId('to').value));
  return begin + [...new Set(files.map((file) => file.group))].map(scriptPart).join('') + data.script.end;
}

const kForms = {
  script: {name: 'duplicates.sh', text: scriptOf},
  zero: {name: 'duplicates.list0', text: (files) => files.map((file) => `${file.path}\0`).join('')},
  lines: {name: 'duplicates.txt', text: (files) => files.map((file) => `${file.path}\n`).join('')},
};

const formChosen = () => byId('exporter').elements.form.value;

function checkExport() {
  const isScript = formChosen() === 'script';
  const broken = formChosen() === 'lines' ? chosenInOrder().filter((file) => file.path.includes('\n')).length : 0;
  byId('to-label').hidden = !isScript;
  byId('warning').hidden = broken === 0;
  byId('warning').textContent = `${countOf(broken, 'path holds', 'paths hold')} a newline; take the list with NUL.`;
  byId('save').disabled = broken > 0 || (isScript && !byId('to').value.startsWith('/'));
  byId('saved').textContent = '';
}

function saveExport() {
  const form = kForms[formChosen()];
  const bytes = bytesOf(form.text(chosenInOrder()));
  const url = URL.createObjectURL(new Blob([bytes], {type: 'application/octet-stream'}));
  make('a', {href: url, download: form.name}).click();
  setTimeout(() => URL.revokeObjectURL(url), 60000);
  isExported = true;
  byId('saved').textContent = `Saved as ${form.name}.`;
}

function openExport() {
  if (chosen.size === 0) return;
  checkExport();
  byId('exporting').showModal();
}

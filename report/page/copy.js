// A copy in the list.

function standIn(file) {
  const words = file.away ? 'not here now' : shown(file.group.format);
  return make('span', {class: 'standin'}, icon(file.group.kind), make('span', {}, words));
}

// The small picture: from inside the page, or from the file itself, or what stands for it.
function smallPicture(file) {
  const inside = data.pictures[file.picture];
  const isLeftToBrowser = !inside && file.group.kind === 'photo' && !file.away;
  if (!inside && !isLeftToBrowser) return standIn(file);
  const picture = make('img', {alt: '', loading: 'lazy', decoding: 'async',
    onerror: () => picture.replaceWith(standIn(file))});
  picture.src = inside ?? linkOf(file.path);
  return picture;
}

// Text of which, where it is too long, the middle is left out: what is from `at` on stays.
function squeezed(text, at) {
  return [make('span', {class: 'head'}, text.slice(0, at)), make('span', {class: 'tail'}, text.slice(at))];
}

// The ending and what is before it, where names of one series differ, stay.
function squeezedName(name) {
  const characters = [...name];
  return squeezed(name, characters.slice(0, Math.max(characters.length - 10, 0)).join('').length);
}

const squeezedFolder = (folder) => squeezed(folder, Math.max(folder.lastIndexOf('/'), 0));

// Size and day, and how they part from those of the kept copy.
function factsOf(file) {
  const {kept} = file.group;
  const fact = (words, isApart) => make('span', isApart ? {class: 'apart'} : {}, words);
  const more = file.size - kept.size;
  const moreWords = more === 0 ? '' : ` ${more > 0 ? '+' : '−'}${sizeOf(Math.abs(more))}`;
  return [sizeOf(file.size), fact(moreWords, true), ' · ', fact(dayOf(file), dayOf(file) !== dayOf(kept))];
}

// What else is to be known of a copy, in a few words each: [class, words, more words].
function remarksOn(file) {
  const {group} = file;
  const remarks = [];
  const fields = fieldsApart(file, group.kept).join(', ');
  if (fields) remarks.push(['differs', `other ${fields}`, `other ${fields} than the copy that is kept`]);
  if (file.storage !== undefined) {
    const others = group.files.filter((other) => other !== file && other.storage === file.storage);
    remarks.push(['', 'linked', `takes no space beside ${others.map((other) => shown(other.path)).join(', ')}`]);
  }
  if (file.companions) {
    remarks.push(['', `+${file.companions.length} beside it`, file.companions.map(shown).join(', ')]);
  }
  return remarks;
}

const badge = ([name, words, more]) => make('span', {class: `badge ${name}`, title: more}, words);

function tileElement(file, index) {
  const {group} = file;
  const [name, path] = [shown(nameOf(file.path)), shown(file.path)];
  const letter = group.letters.get(file.bytes);
  const below = shown(folderOf(file.path).slice(group.shared.length).replace(/^\//, '')) || 'this folder';
  const remarks = remarksOn(file);
  const title = [path, ...remarks.map(([, , more]) => more)].join('\n');
  const isPlayed = file.picture !== undefined && (group.kind === 'video' || group.kind === 'audio');
  return make('div', {class: 'tile', 'data-file': index},
    make('button', {class: 'look', type: 'button', 'aria-label': `Look at ${name}`, onclick: () => look(file)},
      smallPicture(file), isPlayed ? make('span', {class: 'play'}, icon('play')) : null),
    make('div', {class: 'badges'}, ...stateOf(file).map(badge)),
    make('div', {class: 'badges below'}, ...remarks.map(badge)),
    make('label', {class: 'choose'}, make('input', {type: 'checkbox', 'aria-label': `${path} is to go`,
      onchange: (event) => { choose(file, event.target.checked); showChoice(); }})),
    make('div', {class: 'about', title},
      fileLink(file.path, {class: 'squeezed'}, ...squeezedName(name)),
      make('span', {class: 'squeezed muted'}, letter === undefined ? null : make('span', {class: 'letter',
        title: 'Copies with the same letter have equal bytes'}, letterName(letter)), ...squeezedFolder(below)),
      make('span', {class: 'facts muted'}, ...factsOf(file))));
}

const letterName = (number) => (number < 26 ? String.fromCharCode(65 + number) : String(number + 1));

function stateOf(file) {
  const states = [];
  if (file.reference) states.push(['', 'reference', 'never goes']);
  else if (file.keep) states.push(['stays', 'keep', 'the rule keeps it']);
  if (file.away) states.push(['', 'not here', 'its disk or folder is not here']);
  return states;
}

// Brings boxes and marks of a drawn group in line with the choice.
function markChoice(group) {
  for (const tile of drawn.get(group).querySelectorAll('.tile')) {
    const file = group.files[tile.dataset.file];
    const box = tile.querySelector('input');
    const goes = chosen.has(file);
    box.checked = goes;
    box.disabled = !goes && !mayGo(file);
    box.parentElement.title = box.disabled ? 'stays: a copy that is here has to' : 'to go';
    tile.classList.toggle('goes', goes);
  }
}

// A copy in full.

function largePicture(file) {
  const source = {src: linkOf(file.path)};
  const played = {...source, controls: true, preload: 'metadata'};
  const failed = (event) => event.target.replaceWith(make('span', {class: 'standin'}, icon(file.group.kind),
    make('span', {}, 'This browser cannot show it; the link below may open it elsewhere.')));
  if (file.away) return standIn(file);
  if (file.group.kind === 'video' || file.group.kind === 'audio') {
    return make(file.group.kind, {...played, 'aria-label': shown(nameOf(file.path)), onerror: failed});
  }
  const shownSmall = data.pictures[file.picture];
  const orSmall = (event) => {
    if (shownSmall && event.target.src !== shownSmall) event.target.src = shownSmall;
    else failed(event);
  };
  return make('img', {...source, alt: `The picture in ${shown(nameOf(file.path))}`, onerror: orSmall});
}

function roleCell(file) {
  const [[name, words] = ['', '']] = chosen.has(file) ? [['goes', 'to go']] : stateOf(file);
  return make('td', {class: `role ${name}`}, words);
}

function bytesWords({bytes, group}) {
  if (bytes === undefined) return 'not compared';
  return group.letters.has(bytes) ? letterName(group.letters.get(bytes)) : 'equal';
}

const kMostRows = 200; // of the table

// name, words of a file, and whether they are told apart from those of the copy that is kept
const kColumns = [
  {name: 'Size', words: (file) => `${numbers.format(file.size)} B`, isApart: (a, b) => a.size !== b.size},
  {name: 'Modified', words: timeOf, isApart: (a, b) => a.time !== b.time},
  {name: 'Bytes', words: bytesWords, isApart: (a, b) => a.bytes !== b.bytes},
];

function fieldColumn(field) {
  const words = (file) => `${fieldOf(file, field).slice(0, 8)}${field.to - field.from > 8 ? '…' : ''}`;
  return {name: field.name, words, isApart: (a, b) => fieldOf(a, field) !== fieldOf(b, field)};
}

function copiesTable(current) {
  const {group} = current;
  const fields = kFields.map(fieldColumn)
    .filter((column) => group.files.some((file) => column.isApart(file, group.kept)));
  const columns = [...kColumns, ...fields];
  const cell = (file, {name, words, isApart}) =>
    make('td', {class: isApart(file, group.kept) ? 'apart' : undefined, 'data-name': name}, words(file));
  const row = (file) => make('tr', {'aria-current': file === current ? 'true' : undefined},
    make('td', {class: 'path'}, fileLink(file.path, {}, shown(file.path))), roleCell(file),
    ...columns.map((column) => cell(file, column)));
  const listed = group.files.filter((file, i) => i < kMostRows || file === current);
  const left = group.files.length - listed.length;
  const head = ({name}) => make('th', {scope: 'col'}, name);
  return make('div', {class: 'copies', tabindex: '0', role: 'region', 'aria-label': 'The copies side by side'},
    make('table', {}, make('thead', {}, make('tr', {}, head({name: 'Path'}), make('td'), ...columns.map(head))),
      make('tbody', {}, ...listed.map(row))),
    left > 0 ? make('p', {class: 'muted'}, `and ${countOf(left, 'copy', 'copies')} more`) : null);
}

function viewerHead(file, step, choice) {
  return make('header', {}, make('h2', {id: 'viewer-title'}, shown(nameOf(file.path))),
    make('div', {class: 'buttons'}, make('label', {class: 'goes'}, choice, 'to go'),
      make('button', {type: 'button', 'aria-label': 'Previous copy', onclick: () => step(-1)}, '←'),
      make('button', {type: 'button', 'aria-label': 'Next copy', onclick: () => step(1)}, '→'),
      make('button', {type: 'button', onclick: () => byId('viewer').close()}, 'Close')));
}

function look(file) {
  const viewer = byId('viewer');
  const {group} = file;
  const choice = make('input', {type: 'checkbox', 'aria-keyshortcuts': 'x'});
  const showRole = () => {
    choice.checked = chosen.has(file);
    choice.disabled = !choice.checked && !mayGo(file);
    viewer.querySelector('.copies').replaceWith(copiesTable(file));
  };
  choice.addEventListener('change', () => { choose(file, choice.checked); showChoice(); showRole(); });
  const step = (by) => {
    const at = [...viewer.querySelectorAll('button')].indexOf(document.activeElement);
    look(group.files[(group.files.indexOf(file) + by + group.files.length) % group.files.length]);
    viewer.querySelectorAll('button')[at]?.focus();
  };
  viewer.replaceChildren(viewerHead(file, step, choice), make('div', {class: 'stage'}, largePicture(file)),
    make('div', {class: 'copies'}));
  showRole();
  viewer.onkeydown = (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.key === 'x') choice.click();
    if (event.target.matches('video, audio, .copies')) return;
    if (event.key === 'ArrowLeft') step(-1);
    if (event.key === 'ArrowRight') step(1);
  };
  viewer.onclose = () => viewer.replaceChildren(); // a player falls silent
  if (!viewer.open) viewer.showModal();
  viewer.querySelector('button:last-of-type').focus();
}

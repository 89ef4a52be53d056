// What is shown, and in which order.

const filter = {words: [], format: '', likeness: '', folder: ''};
let view = [];

const kOrders = {
  space: (a, b) => b.freeable - a.freeable || a.index - b.index,
  date: (a, b) => b.newest - a.newest || a.index - b.index,
  folder: (a, b) => (a.kept.path < b.kept.path ? -1 : 1),
};

function isShown(group) {
  return (!filter.format || group.format === filter.format) &&
    (!filter.likeness || group.likenesses.has(filter.likeness)) &&
    (!filter.folder || group.files.some((file) => folderOf(file.path) === filter.folder)) &&
    filter.words.every((word) => group.searched.includes(word));
}

function refresh() {
  filter.words = byId('search').value.toLowerCase().split(/\s+/).filter(Boolean);
  filter.format = byId('format').value;
  filter.likeness = byId('likeness').value;
  view = data.groups.filter(isShown).sort(kOrders[byId('sort').value]);
  const freeable = view.reduce((sum, group) => sum + group.freeable, 0);
  byId('count').textContent = `${countOf(view.length, 'group', 'groups')}, ${sizeOf(freeable)}`;
  byId('folder').hidden = !filter.folder;
  byId('folder').textContent = `${shown(nameOf(filter.folder) || filter.folder)} ×`;
  byId('folder').setAttribute('aria-label', `No longer only in ${shown(filter.folder)}`);
  byId('none').hidden = view.length > 0;
  const noneAtAll = data.totals.groups > 0 ? 'No group found room on this page.' : 'No duplicates were found.';
  byId('none-words').textContent = data.groups.length > 0 ? 'No group is like this.' : noneAtAll;
  byId('all').hidden = data.groups.length === 0;
  for (const group of [...drawn.keys()]) undraw(group);
  place();
}

function showAll() {
  for (const id of ['search', 'format', 'likeness']) byId(id).value = '';
  filterFolder('');
  byId('search').focus();
}

function filterFolder(folder) {
  filter.folder = folder;
  refresh();
  byId('tools').scrollIntoView();
}

function showFilters() {
  const formats = [...new Set(data.groups.map((group) => group.format))].sort();
  byId('format').append(...formats.map((format) => make('option', {value: format}, format)));
  for (const option of [...byId('likeness').options]) {
    const isUsed = !option.value || data.groups.some((group) => group.likenesses.has(option.value));
    if (!isUsed) option.remove();
  }
  byId('apply').title = 'In all groups shown, the copies go that the rule does not keep';
}

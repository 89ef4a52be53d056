// The overview above the list.

function figure(name, value, below, isTelling) {
  return make('div', isTelling ? {class: 'telling'} : {}, make('dt', {}, name),
    make('dd', {}, value, below ? make('small', {}, below) : null));
}

const kMatchWords = {same: 'equal hashes', content: 'equal content', exact: 'equal bytes'};

function showHead() {
  byId('made').textContent = shown(`${data.program} · ${dateOf(data.made)} · ${data.catalogues.join(', ')}`);
  byId('rules').textContent = `Groups have ${kMatchWords[data.match]}. Of each the rule keeps: ` +
    `${shown(data.keep.join(',').replaceAll(',', ', then '))}.`;
}

function findingsFigure({words, when}) {
  const count = words.reduce((sum, row) => sum + (row.health === 'ill' ? row.files : 0), 0);
  return figure('Last verification', count === 0 ? 'all well' : countOf(count, 'finding', 'findings'), dateOf(when));
}

function showFigures() {
  const {totals, years, verification} = data;
  const percent = totals.bytes > 0 ? `${(totals.freeable / totals.bytes * 100).toFixed(1)} % of all` : '';
  const known = years.map((row) => row.year);
  const span = known.length > 0 ? `from ${Math.min(...known)} to ${Math.max(...known)}` : '';
  byId('figures').append(
    figure('Files', numbers.format(totals.files), `in ${countOf(data.formats.length, 'format', 'formats')}`),
    figure('Space', sizeOf(totals.bytes), span),
    figure('Groups of duplicates', numbers.format(totals.groups), countOf(totals.copies, 'file', 'files')),
    figure('Could be freed', sizeOf(totals.freeable), percent, true));
  if (verification) byId('figures').append(findingsFigure(verification));
}

// rows: {name, value, words, kind, onclick?}
function barList(rows) {
  const most = Math.max(1, ...rows.map((row) => row.value));
  return make('ul', {class: 'bars'}, ...rows.map((row) => make('li', {},
    row.onclick ?
      make('button', {class: 'plain name', type: 'button', title: row.name, onclick: row.onclick}, row.name) :
      make('span', {class: 'name', title: row.name}, row.name),
    make('span', {class: 'value'}, row.words),
    makeSvg('svg', {viewBox: '0 0 100 1', preserveAspectRatio: 'none', 'aria-hidden': 'true'},
      makeSvg('rect', {class: row.kind, width: Math.max(row.value / most * 100, 1.5), height: 1})))));
}

function legend(rows) {
  return make('ul', {class: 'legend'}, ...rows.map(([kind, words]) => make('li', {},
    makeSvg('svg', {viewBox: '0 0 10 10', 'aria-hidden': 'true'},
      makeSvg('rect', {class: kind, width: 10, height: 10, rx: 3})), words)));
}

function showFormats() {
  const rows = [...data.formats].sort((a, b) => b.bytes - a.bytes);
  const [most, rest] = rows.length > 6 ? [rows.slice(0, 5), rows.slice(5)] : [rows, []];
  const bar = ({name, kind, bytes, files}) =>
    ({name, kind, value: bytes, words: `${sizeOf(bytes)} · ${countOf(files, 'file', 'files')}`});
  const bars = most.map(bar);
  if (rest.length > 0) {
    const sum = (member) => rest.reduce((total, row) => total + row[member], 0);
    bars.push(bar({name: `${rest.length} other formats`, kind: 'rest', bytes: sum('bytes'), files: sum('files')}));
  }
  byId('formats').append(barList(bars));
}

const kKinds = ['photo', 'video', 'audio', 'other'];

// Every year from the first to the last, the last thirty at most.
function yearRows() {
  const known = new Map(data.years.map((row) => [row.year, row]));
  const years = [...known.keys()].sort((a, b) => a - b);
  if (years.at(-1) - years[0] >= 30) return years.slice(-30).map((year) => known.get(year));
  const last = years.at(-1);
  const [first] = years;
  return Array.from({length: last - first + 1}, (_, i) => known.get(first + i) ?? {year: first + i});
}

const kChart = {width: 320, height: 130, above: 18, below: 20};

const spaceIn = (row) => kKinds.reduce((sum, kind) => sum + (row[kind] ?? 0), 0);

// One year: its kinds one upon the other.
function yearColumn(row, x, width, perByte) {
  let y = kChart.height;
  return kKinds.filter((kind) => row[kind] > 0).map((kind) => {
    const height = row[kind] * perByte;
    y -= height;
    return makeSvg('rect', {class: kind, x, y, width, height},
      makeSvg('title', {}, `${row.year}, ${kind}: ${sizeOf(row[kind])}`));
  });
}

function yearChart(rows) {
  const {width, height, above, below} = kChart;
  const most = Math.max(1, ...rows.map(spaceIn));
  const step = width / rows.length;
  const thick = Math.min(step * 0.76, 36);
  const line = (y) => makeSvg('line', {class: 'rule', x1: 0, x2: width, y1: y, y2: y});
  const words = rows.map((row) => `${row.year} ${sizeOf(spaceIn(row))}`).join(', ');
  const chart = makeSvg('svg', {class: 'columns', viewBox: `0 ${-above} ${width} ${above + height + below}`,
    role: 'img', 'aria-label': `Space by year: ${words}`},
  line(0), line(height / 2), line(height), makeSvg('text', {x: 0, y: -5}, sizeOf(most)));
  rows.forEach((row, i) => {
    const middle = (i + 0.5) * step;
    chart.append(...yearColumn(row, middle - thick / 2, thick, height / most));
    const isLabelled = i % Math.ceil(rows.length / 8) === 0;
    if (isLabelled) chart.append(makeSvg('text', {class: 'year', x: middle, y: height + 15}, String(row.year)));
  });
  return chart;
}

function showYears() {
  if (data.years.length === 0) {
    byId('years').append(make('p', {class: 'muted'}, 'No files.'));
    return;
  }
  const rows = yearRows();
  const kinds = kKinds.filter((kind) => rows.some((row) => row[kind] > 0));
  byId('years').append(yearChart(rows), legend(kinds.map((kind) => [kind, kind])));
}

function showFolders() {
  const folders = new Map();
  for (const group of data.groups) {
    const goes = (file) => file !== group.kept && !file.keep && !file.reference;
    for (const file of freeing(group, goes)) {
      const folder = folderOf(file.path);
      folders.set(folder, (folders.get(folder) ?? 0) + file.size);
    }
  }
  const rows = [...folders].sort((a, b) => b[1] - a[1]).slice(0, 6);
  const above = rows.length > 1 ? sharedFolder(rows.map((row) => `${row[0]}/`)) : '';
  const named = (folder) => shown(folder.slice(above.length).replace(/^\//, '') || folder);
  const bars = rows.map(([folder, bytes]) => ({name: named(folder), value: bytes, words: sizeOf(bytes), kind: 'photo',
    onclick: () => filterFolder(folder)}));
  byId('folders').append(bars.length > 0 ? barList(bars) : make('p', {class: 'muted'}, 'Nothing.'));
}

function coverageOf({when, folders, percent, ended}) {
  const where = folders.length > 2 ? countOf(folders.length, 'folder', 'folders') : shown(folders.join(', '));
  return [dateOf(when), where, percent < 100 ? `${percent} % of the files` : '', ended ? '' : 'interrupted']
    .filter(Boolean).join(' · ');
}

function showVerification() {
  const card = byId('verification');
  const found = data.verification;
  if (!found) {
    card.append(make('p', {class: 'muted'}, 'Nothing was verified so far. kmhash verify hashes ' +
      'recorded files again and tells the re-tagged from the damaged.'));
    return;
  }
  card.append(make('p', {class: 'muted'}, coverageOf(found)));
  const isIll = (row) => (row.health === 'ill' ? 1 : 0);
  const rows = found.words.filter((row) => row.files > 0).sort((a, b) => isIll(b) - isIll(a) || b.files - a.files);
  card.append(barList(rows.map(({word, files, health}) => ({name: shown(word), value: files,
    words: numbers.format(files), kind: health ?? 'other'}))));
  if (found.findings.length === 0) return;
  const lines = found.findings.map((row) => make('li', {}, make('b', {}, shown(row.word)), ' ',
    fileLink(row.path, {}, shown(row.path))));
  if (found.more > 0) lines.push(make('li', {class: 'muted'}, `and ${numbers.format(found.more)} more`));
  card.append(make('details', {class: 'findings'},
    make('summary', {}, countOf(found.findings.length + found.more, 'file', 'files')), make('ul', {}, ...lines)));
}

function showNotes() {
  const notes = [];
  if (data.left.groups > 0) {
    notes.push(`${countOf(data.left.groups, 'group', 'groups')} that would free least found no room within this ` +
      'page\'s size (--size).');
  }
  if (data.left.pictures > 0) {
    notes.push(`${countOf(data.left.pictures, 'picture is', 'pictures are')} not inside the page; the browser ` +
      'loads the files themselves, from where they lie.');
  }
  byId('notes').hidden = notes.length === 0;
  byId('notes').textContent = notes.join(' ');
}

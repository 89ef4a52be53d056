// The page of `kmhash report`. It shows what the data block holds, lets copies be chosen and saves the choice; it
// changes no file. The page's security policy lets this script run and nothing else. Names of files and folders come
// from strangers: they reach the page as text and as escaped links, never as markup.
//
// The data block is one JSON object, in the element "data". Members marked ? may be left out.
//
//   program       "kmhash" and its version
//   made          seconds since 1970
//   catalogues    paths of the catalogue's files
//   match         "same", "content" or "exact": what makes files a group
//   keep          the rules that say which copy stays, in their order
//   totals        {files, bytes, groups, copies, freeable}, of everything; copies are the files in groups, freeable is
//                 in bytes
//   formats       [{name, kind, files, bytes}], everything recorded
//   years         [{year, photo, video, audio, other}], bytes by the year of modification
//   verification  null, or {when, folders, percent, ended, words: [{word, files, health?}], findings: [{word, path}],
//                 more} of the last one: which folders (none: not known) and how many of their files it was to look at,
//                 whether it reached its end; health is well or ill; `more` findings are counted, not listed
//   left          {groups, pictures}: how many are left out to bound the page's size
//   roots         the scanned folders, each with a slash at its end
//   groups        [{format, kind, freeable, hashes, files}]; kind is photo, video, audio or other; hashes are the texts
//                 of 128 characters in the group
//   files         [{path, root, size, time, hash, whole?, bytes?, storage?, keep?, reference?, away?, picture?,
//                 companions?}]
//     root          index in roots; that folder is where the path begins
//     time          of modification, in seconds since 1970, as text with nine digits behind the point
//     hash          index in the group's hashes
//     whole         the same, of the text that covers every byte of the media
//     bytes         files with the same number have equal bytes; left out: not compared
//     storage       files with the same number take their space on disk once (hard links, reflinks)
//     keep          true: the rules keep it. reference: true: it never goes. away: true: it is not here now
//     picture       index in pictures
//     companions    paths of files that go with it (XMP, RAW beside JPEG)
//   pictures      data: URLs
//   script        {begin, end} of the script of `kmhash duplicates --script`; in begin '{to}' stands for the folder
//
// Paths are bytes and JSON is text: a byte that is not UTF-8 stands as the lone surrogate U+DC80 to U+DCFF, whose last
// eight bits are the byte.
'use strict';

(() => {
  const data = JSON.parse(document.getElementById('data').textContent);
  const byId = (id) => document.getElementById(id);

  // ---- Text, numbers, paths ----

  const numbers = new Intl.NumberFormat('en', {maximumFractionDigits: 0});
  const kControls = /[\u0000-\u001f\u007f-\u009f\u200e\u200f\u2028-\u202e\u2066-\u2069]/gu;
  const kStrayBytes = /[\udc80-\udcff]/u;

  // The text with what cannot be seen, or would turn the line around, made visible.
  function shown(text) {
    const visible = (c) => {
      const code = c.codePointAt(0);
      if (code < 0x20) return String.fromCodePoint(0x2400 + code);
      return code === 0x7f ? '\u2421' : `<${code.toString(16).toUpperCase().padStart(4, '0')}>`;
    };
    return text.replace(kControls, visible).replace(/[\udc80-\udcff]/gu, '\ufffd');
  }

  function countOf(number, one, many) {
    return `${numbers.format(number)} ${number === 1 ? one : many}`;
  }

  function sizeOf(bytes) {
    const units = ['B', 'kB', 'MB', 'GB', 'TB', 'PB'];
    let unit = 0;
    let value = bytes;
    while (value >= 999.5 && unit < units.length - 1) {
      value /= 1000;
      ++unit;
    }
    return `${unit === 0 || value >= 99.5 ? value.toFixed(0) : value.toPrecision(2)} ${units[unit]}`;
  }

  function dateOf(seconds) {
    const date = new Date(seconds * 1000);
    if (Number.isNaN(date.getTime())) return 'no date';
    const two = (number) => String(number).padStart(2, '0');
    return `${date.getFullYear()}-${two(date.getMonth() + 1)}-${two(date.getDate())} ` +
      `${two(date.getHours())}:${two(date.getMinutes())}`;
  }

  const dayOf = (file) => dateOf(file.seconds).slice(0, 10);
  const timeOf = (file) => `${dateOf(file.seconds)}:${String(Math.floor(file.seconds) % 60).padStart(2, '0')}`;

  // The path's bytes, as the file system has them.
  function bytesOf(path) {
    const encoder = new TextEncoder();
    if (!kStrayBytes.test(path)) return encoder.encode(path);
    const bytes = [];
    for (const c of path) {
      if (kStrayBytes.test(c)) bytes.push(c.codePointAt(0) & 0xff);
      else bytes.push(...encoder.encode(c));
    }
    return Uint8Array.from(bytes);
  }

  function linkOf(path) {
    const escaped = (byte) => {
      const c = String.fromCharCode(byte);
      return /[\w./~-]/.test(c) && byte < 0x80 ? c : `%${byte.toString(16).toUpperCase().padStart(2, '0')}`;
    };
    return `file:///${Array.from(bytesOf(path.replace(/^\/+/, '')), escaped).join('')}`;
  }

  const nameOf = (path) => path.slice(path.lastIndexOf('/') + 1);
  const folderOf = (path) => path.slice(0, Math.max(path.lastIndexOf('/'), 1));

  function sharedFolder(paths) {
    const first = folderOf(paths[0]).split('/');
    let length = first.length;
    for (const path of paths) {
      const parts = folderOf(path).split('/');
      while (first.slice(0, length).join('/') !== parts.slice(0, length).join('/')) --length;
    }
    return first.slice(0, length).join('/');
  }

  // ---- Elements ----

  // An element with attributes, listeners ("onclick") and children; a string becomes text and never markup.
  function make(name, attributes = {}, ...children) {
    return fill(document.createElement(name), attributes, children);
  }

  function makeSvg(name, attributes = {}, ...children) {
    return fill(document.createElementNS('http://www.w3.org/2000/svg', name), attributes, children);
  }

  function fill(element, attributes, children) {
    for (const [key, value] of Object.entries(attributes)) {
      if (key.startsWith('on')) element.addEventListener(key.slice(2), value);
      else if (value === true) element.setAttribute(key, '');
      else if (value !== false && value !== undefined) element.setAttribute(key, value);
    }
    element.append(...children.filter((child) => child !== null && child !== undefined));
    return element;
  }

  const fileLink = (path, attributes, ...children) =>
    make('a', {...attributes, href: linkOf(path), target: '_blank', rel: 'noopener noreferrer'}, ...children);

  const kIcons = {
    photo: 'M4 5h16v14H4z M4 16l5-5 4 4 3-3 4 4 M15.5 9.5h.01',
    video: 'M4 6h11v12H4z M15 10.5l5-3v9l-5-3',
    audio: 'M9 18V6l10-2v12 M9 18a2.5 2.5 0 1 1-5 0 2.5 2.5 0 0 1 5 0z M19 16a2.5 2.5 0 1 1-5 0 2.5 2.5 0 0 1 5 0z',
    other: 'M6 3h8l4 4v14H6z M14 3v4h4',
    play: 'M9 7l9 5-9 5z',
  };

  function icon(name) {
    return makeSvg('svg', {viewBox: '0 0 24 24', 'aria-hidden': 'true'}, makeSvg('path', {d: kIcons[name]}));
  }

  // ---- Groups as the page needs them ----

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

  // ---- The choice: files that are to go ----

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

  // ---- Overview ----

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

  // ---- What is shown, in which order ----

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

  // ---- The list: only groups near the window are elements ----

  const kMargin = 800;    // pixels above and below the window that are drawn too
  const list = byId('groups');
  const drawn = new Map(); // group -> element
  const measures = {columns: 1, tile: 0, head: 0, foot: 0, gap: 0};
  let tops = new Float64Array(1); // tops[i]: where the i-th group of the view begins; one more for the end

  // Whether groups have other places now.
  function measure() {
    const before = JSON.stringify(measures);
    const style = getComputedStyle(document.documentElement);
    const letters = parseFloat(style.fontSize);
    const pixels = (name) => parseFloat(style.getPropertyValue(name)) * letters;
    measures.tile = pixels('--tile-height');
    measures.head = pixels('--head');
    measures.foot = pixels('--foot');
    measures.gap = pixels('--gap');
    const columns = Math.floor((list.clientWidth + measures.gap) / (pixels('--tile') + measures.gap));
    measures.columns = Math.max(1, columns);
    document.documentElement.style.setProperty('--columns', measures.columns);
    return JSON.stringify(measures) !== before;
  }

  // How many of the group's files have tiles; one place is for "more".
  function tileCount(group) {
    const places = group.rows * measures.columns;
    return group.files.length <= places ? group.files.length : places - 1;
  }

  function heightOf(group) {
    const tiles = tileCount(group);
    const rows = Math.ceil((tiles + (tiles < group.files.length ? 1 : 0)) / measures.columns);
    return measures.head + rows * measures.tile + (rows - 1) * measures.gap + measures.foot;
  }

  function place() {
    tops = new Float64Array(view.length + 1);
    view.forEach((group, i) => {
      tops[i + 1] = tops[i] + heightOf(group);
      group.position = i;
    });
    list.style.height = `${tops[view.length]}px`;
    for (const [group, element] of drawn) element.style.transform = `translateY(${tops[group.position]}px)`;
    draw();
  }

  // Draws all anew for another width: what was in the window stays there, and what had the focus keeps it.
  function drawAnew() {
    const focused = document.activeElement;
    const group = groupOf(focused);
    const parts = () => [drawn.get(group), ...drawn.get(group).querySelectorAll('a, button, input')];
    const part = group ? parts().indexOf(focused) : -1;
    const above = -list.getBoundingClientRect().top;
    const first = view[groupAt(above)];
    const before = first ? tops[first.position] : 0;
    for (const each of [...drawn.keys()]) undraw(each);
    place();
    if (above > 0 && first) window.scrollBy(0, tops[first.position] - before);
    draw();
    if (part >= 0 && drawn.has(group)) parts()[part]?.focus({preventScroll: true});
  }

  // The last group that begins at or above y.
  function groupAt(y) {
    let [low, high] = [0, view.length];
    while (high - low > 1) {
      const middle = (low + high) >> 1;
      if (tops[middle] <= y) low = middle;
      else high = middle;
    }
    return low;
  }

  function draw() {
    const above = -list.getBoundingClientRect().top;
    const first = groupAt(above - kMargin);
    const last = Math.min(groupAt(above + window.innerHeight + kMargin) + 1, view.length);
    const wanted = new Set(view.slice(first, last));
    for (const [group, element] of drawn) {
      if (!wanted.has(group) && !element.contains(document.activeElement)) undraw(group);
    }
    for (const group of wanted) {
      if (!drawn.has(group)) drawGroup(group);
    }
    byId('tools').classList.toggle('stuck', byId('tools').getBoundingClientRect().top <= 0);
  }

  function undraw(group) {
    drawn.get(group).remove();
    drawn.delete(group);
  }

  // Elements stand in the list's order, as a screen reader and the tab key go.
  function drawGroup(group) {
    const element = groupElement(group);
    element.style.transform = `translateY(${tops[group.position]}px)`;
    let next = null;
    for (const [other, otherElement] of drawn) {
      if (other.position > group.position && (!next || other.position < next.position)) {
        next = {position: other.position, element: otherElement};
      }
    }
    list.insertBefore(element, next ? next.element : null);
    drawn.set(group, element);
    markChoice(group);
  }

  function groupElement(group) {
    const title = `group-${group.index}`;
    const count = tileCount(group);
    const tiles = group.files.slice(0, count).map(tileElement);
    if (count < group.files.length) {
      tiles.push(make('button', {class: 'more', type: 'button', onclick: () => expand(group)},
        `${numbers.format(group.files.length - count)} more copies`));
    }
    const element = make('article', {class: 'group', tabindex: '0', 'aria-labelledby': `${title} ${title}-frees`,
      'data-group': group.index, 'aria-posinset': group.position + 1, 'aria-setsize': view.length,
      onkeydown: (event) => { if (event.key === 'Enter' && event.target === element) look(group.files[0]); }},
    groupHead(group, title), make('div', {class: 'tiles'}, ...tiles));
    return element;
  }

  function groupHead(group, title) {
    const tags = Object.keys(kLikenessWords).filter((name) => group.likenesses.has(name));
    return make('header', {},
      make('b', {id: title}, `${numbers.format(group.files.length)} × ${shown(group.format)}`,
        make('span', {class: 'unseen'}, `, group ${group.position + 1}`)),
      make('span', {id: `${title}-frees`, class: 'frees'},
        `frees ${group.freeable > 0 ? sizeOf(group.freeable) : 'nothing'}`),
      ...tags.map((name) => make('span', {class: `tag ${name}`}, kLikenessWords[name])),
      make('span', {class: 'where', title: shown(group.shared)}, shown(group.shared)),
      make('button', {type: 'button', onclick: () => { chooseByRule(group); showChoice(); }},
        'By rule', make('span', {class: 'unseen'}, ` in group ${group.position + 1}`)));
  }

  function expand(group) {
    const next = tileCount(group);
    group.rows += kRowsMore;
    undraw(group);
    place();
    drawn.get(group)?.querySelectorAll('.look')[next]?.focus();
  }

  // ---- A copy ----

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

  // ---- Looking at a copy in full ----

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

  // ---- Export ----

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

  // ---- Keyboard ----

  const groupOf = (element) => data.groups[element?.closest?.('.group')?.dataset.group];
  const fileOf = (element) => groupOf(element)?.files[element.closest('.tile')?.dataset.file];

  function goToGroup(by) {
    if (view.length === 0) return;
    const current = groupOf(document.activeElement);
    const from = current ? current.position + by : groupAt(Math.max(0, -list.getBoundingClientRect().top));
    const group = view[Math.min(Math.max(from, 0), view.length - 1)];
    const top = list.getBoundingClientRect().top + window.scrollY + tops[group.position];
    window.scrollTo(0, top - byId('tools').offsetHeight - 8);
    draw();
    drawn.get(group).focus({preventScroll: true});
  }

  function goToCopy(by) {
    const group = groupOf(document.activeElement);
    if (!group) return;
    const tiles = [...drawn.get(group).querySelectorAll('.look')];
    const at = tiles.indexOf(document.activeElement.closest('.tile')?.querySelector('.look'));
    tiles[Math.min(Math.max(at + by, 0), tiles.length - 1)].focus();
  }

  function switchCopy() {
    const file = fileOf(document.activeElement);
    if (!file) return;
    choose(file, !chosen.has(file));
    showChoice();
  }

  const kKeys = {
    j: () => goToGroup(1),
    k: () => goToGroup(-1),
    ArrowRight: () => goToCopy(1),
    ArrowLeft: () => goToCopy(-1),
    x: switchCopy,
    r: () => {
      const group = groupOf(document.activeElement);
      if (group) chooseByRule(group);
      showChoice();
    },
    e: openExport,
    '/': () => byId('search').focus(),
    '?': () => byId('keys').showModal(),
  };

  function onKey(event) {
    const isTyping = event.target.matches?.('input[type="search"], input[type="text"], select');
    if (isTyping || event.ctrlKey || event.metaKey || event.altKey || document.querySelector('dialog[open]')) return;
    if (!Object.hasOwn(kKeys, event.key)) return;
    event.preventDefault();
    kKeys[event.key]();
  }

  // ---- Colours ----

  const kThemes = ['system', 'light', 'dark'];
  const systemIsDark = window.matchMedia('(prefers-color-scheme: dark)');
  let theme = 'system';

  function showTheme() {
    const isDark = theme === 'dark' || (theme === 'system' && systemIsDark.matches);
    document.documentElement.dataset.theme = isDark ? 'dark' : 'light';
    byId('theme').textContent = {system: '◐ System', light: '○ Light', dark: '● Dark'}[theme];
    byId('theme').setAttribute('aria-label', `Colours: ${theme}`);
  }

  // ---- Begin ----

  function listen() {
    const onFrame = (work) => {
      let isDue = false;
      return () => {
        if (isDue) return;
        isDue = true;
        requestAnimationFrame(() => { isDue = false; work(); });
      };
    };
    window.addEventListener('scroll', onFrame(draw), {passive: true});
    new ResizeObserver(onFrame(() => { if (measure()) drawAnew(); else draw(); })).observe(document.documentElement);
    window.addEventListener('beforeunload', (event) => { if (!isExported && chosen.size > 0) event.preventDefault(); });
    document.addEventListener('keydown', onKey);
    for (const id of ['sort', 'format', 'likeness']) byId(id).addEventListener('change', refresh);
    byId('search').addEventListener('input', refresh);
    byId('folder').addEventListener('click', () => { filterFolder(''); byId('search').focus(); });
    byId('all').addEventListener('click', showAll);
    byId('apply').addEventListener('click', () => { view.forEach(chooseByRule); showChoice(); });
    byId('clear').addEventListener('click', () => { chosen.clear(); showChoice(); list.focus({preventScroll: true}); });
    byId('export').addEventListener('click', openExport);
    byId('exporter').addEventListener('input', checkExport);
    byId('exporter').addEventListener('submit', (event) => { event.preventDefault(); saveExport(); });
    byId('close').addEventListener('click', () => byId('exporting').close());
    byId('help').addEventListener('click', () => byId('keys').showModal());
    byId('theme').addEventListener('click', () => { theme = kThemes[(kThemes.indexOf(theme) + 1) % 3]; showTheme(); });
    systemIsDark.addEventListener('change', showTheme);
  }

  showTheme();
  showHead();
  showFigures();
  showFormats();
  showYears();
  showFolders();
  showVerification();
  showNotes();
  showFilters();
  listen();
  measure();
  refresh();
})();

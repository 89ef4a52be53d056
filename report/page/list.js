// The list: only groups near the window are elements.

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

// The keyboard.

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

// Every part shows itself and listens.

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

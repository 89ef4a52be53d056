// The colours: light, dark, or the system's.

const kThemes = ['system', 'light', 'dark'];
const systemIsDark = window.matchMedia('(prefers-color-scheme: dark)');
let theme = 'system';

function showTheme() {
  const isDark = theme === 'dark' || (theme === 'system' && systemIsDark.matches);
  document.documentElement.dataset.theme = isDark ? 'dark' : 'light';
  byId('theme').textContent = {system: '◐ System', light: '○ Light', dark: '● Dark'}[theme];
  byId('theme').setAttribute('aria-label', `Colours: ${theme}`);
}

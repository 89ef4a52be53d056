// Text, numbers and paths as the page shows them.

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

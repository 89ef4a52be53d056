// Making elements of the page.

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

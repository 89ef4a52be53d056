// Made-up data for the page: groups of files that do not exist, names that give trouble among them.

// A generator of numbers from 0 to 1 that are the same every time.
function numbersFrom(seed) {
  let state = seed;
  return () => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return state / 2 ** 32;
  };
}

// A sky over a hill: a BMP of 7 kB, which is as much as real small pictures take.
export function picture(random) {
  const [width, height] = [56, 42];
  const [sky, hill, top] = [random() * 60, random() * 100, 14 + random() * 14];
  const bytes = Buffer.alloc(54 + width * height * 3);
  bytes.write('BM');
  [[2, bytes.length], [10, 54], [14, 40], [18, width], [22, height], [26, 1 + (24 << 16)]]
    .forEach(([at, value]) => bytes.writeUInt32LE(value, at));
  for (let i = 0; i < width * height; ++i) {
    const [x, y, grain] = [i % width, height - Math.floor(i / width), random() * 24];
    const isHill = y > top + 6 * Math.sin(x / 9 + sky);
    const colour = isHill ? [60, 90, hill] : [200, 150 + y, 90 + sky];
    bytes.set(colour.map((part) => part + grain), 54 + i * 3);
  }
  return bytes;
}

export const oddNames = [
  '<img src=x onerror="window.harmed=1">.jpg', '</script><script>window.harmed=2</script>.jpg',
  '100% #1 a?b.jpg', 'line\nbreak.jpg', 'byte\udcff\udcc3.jpg',
  "it's {path} $(touch harmed) `x`.jpg",
  '\u202egnp.exe.jpg', 'ümlaut 日本 😀.jpg',
];

const kFormats = [['JPEG', 'photo'], ['HEIF', 'photo'], ['PNG', 'photo'], ['MP4', 'video'],
  ['FLAC', 'audio'], ['QUICK', 'other']];
const kFolders = ['/home/kim/Pictures/2019/Berlin', '/home/kim/Pictures/2021', '/media/old phone'];

function hashText(random) {
  const digit = () => '0123456789ABCDEF'[Math.floor(random() * 16)];
  const digits = Array.from({length: 80}, digit).join('');
  return `0003000050484F544F${digits}4A5045470000000001000000000000`;
}

function group(index, random, {groups, pictures}) {
  const isOdd = index < oddNames.length;
  const [format, kind] = kFormats[isOdd ? 0 : Math.floor(random() ** 2 * kFormats.length)];
  const size = Math.floor(2e5 + random() ** 4 * (kind === 'video' ? 3e9 : 2e7));
  const isRetagged = random() < 0.4;
  const name = oddNames[index] ?? `IMG_${String(index).padStart(5, '0')}.${format.toLowerCase()}`;
  const count = index % 97 === 11 ? 40 : 2 + Math.floor(random() ** 3 * 4);
  const files = Array.from({length: count}, (_, i) => ({
    path: `${kFolders[i % 3]}/${i > 2 ? `copy ${i}/` : ''}${name}`, hash: 0,
    size: size + (isRetagged ? i * 100 : 0), bytes: isRetagged ? i + 1 : 1,
    root: i % 3 === 2 ? 1 : 0,
    time: `${1.1e9 + Math.floor(index / groups * 6e8) + i * 86400}.000000005`,
    ...(i === 0 ? {keep: true} : {}),
    ...(index % 5 !== 4 && pictures > 0 ? {picture: index % pictures} : {}),
  }));
  if (index % 10 === 3) files[1].companions = ['/home/kim/Pictures/2021/IMG.xmp'];
  if (index % 50 === 20) files[1].reference = true;
  const hashes = [hashText(random)];
  if (index % 9 === 8) {
    hashes.push(hashes[0].slice(0, 58) + hashText(random).slice(58, 98) + hashes[0].slice(98));
    files[1].hash = 1;
  }
  return {format, kind, hashes, freeable: size * (count - 1), files};
}

// The data block with that many groups and small pictures.
export function madeUpData(options) {
  const random = numbersFrom(7);
  const groups = Array.from({length: options.groups}, (_, i) => group(i, random, options));
  // As somebody may have put it into a catalogue.
  groups[0].hashes[0] = '$(touch harmed)\'`touch harmed`"'.padEnd(128, '0');
  const freeable = groups.reduce((sum, each) => sum + each.freeable, 0);
  const part = (most) => Math.floor(random() * most);
  return {
    program: 'kmhash 0', made: 1.76e9, catalogues: ['/home/kim/catalogue'], match: 'same',
    keep: ['newest'],
    totals: {files: 104857, bytes: freeable * 9, groups: groups.length,
      copies: groups.reduce((sum, each) => sum + each.files.length, 0), freeable},
    formats: kFormats.map(([name, kind], i) =>
      ({name, kind, files: 40000 >> i, bytes: Math.floor(freeable * 4 / (i + 1))})),
    years: Array.from({length: 20}, (_, i) =>
      ({year: 2005 + i, photo: part(4e11), video: part(6e11), audio: part(5e10), other: 0})),
    verification: {when: 1.759e9, more: 4, folders: ['/home/kim/'], percent: 10, ended: true,
      words: [{word: 'intact', files: 104850, health: 'well'}, {word: 'not-compared', files: 1},
        {word: 'rotten', files: 2, health: 'ill'}, {word: 'missing', files: 4, health: 'ill'}],
      findings: [{word: 'rotten', path: '/home/kim/<b>x</b>.jpg'},
        {word: 'missing', path: '/home/kim/a b.jpg'}]},
    left: {groups: 0, pictures: 3}, groups,
    pictures: Array.from({length: options.pictures}, () =>
      `data:image/bmp;base64,${picture(random).toString('base64')}`),
    script: {begin: "to='{to}'\n", end: 'true\n'}, roots: ['/home/kim/', '/media/old phone/'],
  };
}

// The page with these data in the place that the template has for them.
export function pageWith(template, data) {
  const [before, after] = template.split('@DATA@');
  return before + JSON.stringify(data).replaceAll('<', '\\u003c') + after;
}

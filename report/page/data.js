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

const data = JSON.parse(document.getElementById('data').textContent);
const byId = (id) => document.getElementById(id);

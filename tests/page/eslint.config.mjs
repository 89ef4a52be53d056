import js from '@eslint/js';

const browser = ['document', 'window', 'Blob', 'URL', 'TextEncoder', 'ResizeObserver',
  'getComputedStyle', 'requestAnimationFrame', 'setTimeout'];
const node = ['Buffer', 'process', 'URL', 'document', 'window', 'setTimeout', 'fetch',
  'performance'];
const named = (names) => ({globals: Object.fromEntries(names.map((name) => [name, 'readonly']))});
const rules = {
  ...js.configs.recommended.rules, 'max-len': ['error', 120], 'no-control-regex': 'off',
  'no-var': 'error', 'prefer-const': 'error', 'eqeqeq': 'error', 'no-shadow': 'error',
  'no-implied-eval': 'error', 'no-eval': 'error', 'max-lines-per-function': ['error', {max: 40}],
  'no-restricted-properties': ['error', ...['innerHTML', 'outerHTML', 'insertAdjacentHTML', 'write']
    .map((property) => ({property, message: 'Names of files are strangers: text only.'}))],
};

export default [
  {files: ['**/*.mjs'], languageOptions: named(node),
    rules: {...rules, 'no-restricted-properties': 'off', 'max-len': ['error', 100]}},
  {files: ['**/page.js'], languageOptions: {sourceType: 'script', ...named(browser)}, rules},
];

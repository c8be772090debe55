'use strict';
// What the scripts of all pages stand on: the page's data, how elements are made and sizes written,
// and the choice of light or dark.
const data = JSON.parse(document.getElementById('data').textContent);
const main = document.getElementById('main');

const make = (tag, attributes, ...children) => {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes || {})) {
    if (value === null || value === undefined) continue;
    if (name === 'class') element.className = value;
    else if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value);
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
};
const size = (bytes) => {
  if (Math.abs(bytes) < 1000) return bytes + (bytes === 1 ? ' byte' : ' bytes');
  const units = ['kB', 'MB', 'GB', 'TB'];
  let scaled = bytes / 1000, unit = 0;
  while (Math.abs(scaled) >= 999.95 && unit + 1 < units.length) { scaled /= 1000; ++unit; }
  return scaled.toFixed(1) + ' ' + units[unit];
};
const theme = make('button', {type: 'button', class: 'theme', onclick: () => {
  const chosen = document.documentElement.dataset.theme;
  const dark = chosen ? chosen === 'dark' : matchMedia('(prefers-color-scheme: dark)').matches;
  document.documentElement.dataset.theme = dark ? 'light' : 'dark';
}}, 'Light or dark');

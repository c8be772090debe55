// Shows what kelvara's comparison found: what differs in words, and every page before and after.
(() => {
  const MODES = [['slider', 'Slider'], ['beside', 'Side by side'], ['difference', 'Difference']];

  const count = (number, one) => `${number} ${one}${number === 1 ? '' : 's'}`;
  const ssim = (value) => (Math.floor(value * 10000) / 10000).toFixed(4);
  const textDiffers = (page) => page.lostWords.length > 0 || page.newWords.length > 0;
  const differs = (page) => textDiffers(page) || page.ssim < data.threshold || (page.problem && !page.problem.startsWith('neither'));

  const picture = (page, which, attributes) =>
    make('img', {src: page[which] || page.before, width: page.width, height: page.height, ...attributes});

  // Two pictures on each other; what is right of the edge shows the result.
  const slider = (page, start) => {
    const over = picture(page, 'after', {class: 'over', alt: `Page ${page.page} after`});
    const edge = make('span', {class: 'edge'});
    const set = (value) => {
      over.style.clipPath = `inset(0 0 0 ${value}%)`;
      edge.style.left = value + '%';
      input.setAttribute('aria-valuetext', `${value} % before`);
    };
    const input = make('input', {type: 'range', min: '0', max: '100', step: '0.5', value: String(start), 'aria-label': `Page ${page.page}: how much is shown as it was before`,
      oninput: () => set(Number(input.value))});
    set(start);
    return make('div', {class: 'sheet'}, picture(page, 'before', {alt: `Page ${page.page} before`}), over, edge,
      make('span', {class: 'tag left'}, 'Before'), make('span', {class: 'tag right'}, 'After'), input);
  };
  const figure = (caption, child) => make('figure', {}, make('figcaption', {}, caption), child);
  const sheet = (image, dark) => make('div', {class: dark ? 'sheet dark' : 'sheet'}, image);

  const views = {
    slider: (page, start) => slider(page, start),
    beside: (page) => make('div', {class: 'views pair'},
      figure('Before', sheet(picture(page, 'before', {alt: `Page ${page.page} before`}))),
      figure('After', sheet(picture(page, 'after', {alt: `Page ${page.page} after`})))),
    difference: (page) => page.difference ?
      figure('What differs, four times as strong: black is the same', sheet(picture(page, 'difference', {alt: `Differences of page ${page.page}`}), true)) :
      make('p', {class: 'missing'}, page.equal ? 'The page looks the same, sample for sample.' : 'The page has another size.'),
  };

  const words = (page) => {
    if (!textDiffers(page)) return null;
    const list = (texts, tag) => texts.slice(0, 200).flatMap((text) => [make(tag, {}, text), ' ']);
    const more = Math.max(0, page.lostWords.length - 200) + Math.max(0, page.newWords.length - 200);
    return make('div', {class: 'words'}, make('h3', {}, 'Words'),
      page.lostWords.length ? make('p', {}, `${page.lostWords.length} lost: `, ...list(page.lostWords, 'del')) : null,
      page.newWords.length ? make('p', {}, `${page.newWords.length} new: `, ...list(page.newWords, 'ins')) : null,
      more ? make('p', {class: 'soft'}, `and ${more} more`) : null);
  };

  const settings = new URLSearchParams(location.hash.slice(1));  // such as #page=3&mode=difference&at=25
  const startMode = MODES.some(([name]) => name === settings.get('mode')) ? settings.get('mode') : 'slider';
  const startAt = Math.min(100, Math.max(0, Number(settings.get('at') ?? 50) || 0));
  const cards = new Map();

  const pageCard = (page) => {
    const place = make('div');
    const buttons = MODES.map(([name, label]) => make('button', {type: 'button', onclick: () => choose(name)}, label));
    const choose = (mode) => {
      MODES.forEach(([name], index) => buttons[index].setAttribute('aria-pressed', String(name === mode)));
      place.replaceChildren(views[mode](page, startAt));
    };
    const verdict = make('span', {class: differs(page) ? 'bad' : 'soft'}, page.problem || (page.equal ? 'looks the same' : `SSIM ${ssim(page.ssim)}`));
    const card = make('section', {class: 'card page', id: `page-${page.page}`, 'aria-label': `Page ${page.page}`},
      make('header', {}, make('h2', {}, `Page ${page.page}`), verdict,
        textDiffers(page) ? make('span', {class: 'bad'}, `${count(page.lostWords.length, 'word')} lost, ${page.newWords.length} new`) : null,
        page.before ? make('div', {class: 'modes', role: 'group', 'aria-label': 'View'}, ...buttons) : null),
      place, words(page));
    if (page.before) choose(startMode);
    else place.append(make('p', {class: 'missing'}, 'There are no pictures of this page.'));
    cards.set(page.page, choose);
    return card;
  };

  const saved = data.before.bytes - data.after.bytes;
  const share = data.before.bytes > 0 ? 100 * saved / data.before.bytes : 0;
  main.append(make('div', {class: 'top'}, make('div', {}, make('p', {class: 'soft'}, 'Compared'),
    make('h1', {}, `${data.before.file} → ${data.after.file}`)), theme));
  main.append(make('ul', {class: 'chips'},
    make('li', {class: 'chip'}, make('b', {}, `${size(data.before.bytes)} → ${size(data.after.bytes)}`)),
    make('li', {class: 'chip'}, saved >= 0 ? `${share.toFixed(1)} % saved` : `${size(-saved)} more`),
    make('li', {class: 'chip'}, data.before.pages === data.after.pages ? count(data.before.pages, 'page') : `${data.before.pages} → ${count(data.after.pages, 'page')}`),
    make('li', {class: 'chip ' + (data.same ? 'good' : 'bad')}, make('b', {}, data.same ? 'Looks and reads the same' : 'Differs'))));

  const overview = make('section', {class: 'card'}, make('h2', {}, 'In short'));
  if (!data.same) overview.append(make('ul', {}, ...data.differences.slice(0, 30).map((text) => make('li', {class: 'words'}, text)),
    data.differences.length > 30 ? make('li', {}, `and ${data.differences.length - 30} more`) : null));
  const row = (name, before, after, remark, bad) => make('tr', {}, make('td', {}, name), make('td', {}, String(before)), make('td', {}, String(after)), make('td', {class: bad ? 'bad' : 'soft'}, remark));
  const lost = data.pages.reduce((sum, page) => sum + page.lostWords.length, 0);
  const added = data.pages.reduce((sum, page) => sum + page.newWords.length, 0);
  const change = (lost, added) => lost + added === 0 ? 'all there' : `${lost} lost, ${added} new`;
  overview.append(make('div', {class: 'scroll'}, make('table', {},
    make('thead', {}, make('tr', {}, ...['', 'Before', 'After', ''].map((text) => make('th', {scope: 'col'}, text)))),
    make('tbody', {},
      row('Words on the compared pages', data.words, data.words - lost + added, change(lost, added), lost + added > 0),
      ...data.lists.map((list) => row(list.name, list.before, list.after, list.before + list.after === 0 ? '' : change(list.lost.length, list.new.length), list.lost.length + list.new.length > 0)),
      row('Tags for screen readers', data.before.tagged ? 'yes' : 'no', data.after.tagged ? 'yes' : 'no', data.before.tagged && !data.after.tagged ? 'lost' : '', data.before.tagged && !data.after.tagged)))));
  for (const list of data.lists) {
    if (list.lost.length + list.new.length === 0) continue;
    overview.append(make('h3', {}, list.name), make('p', {class: 'words'},
      ...list.lost.slice(0, 50).flatMap((text) => [make('del', {}, text), make('br')]), ...list.new.slice(0, 50).flatMap((text) => [make('ins', {}, text), make('br')])));
  }
  main.append(overview);

  const all = MODES.map(([name, label]) => make('button', {type: 'button', onclick: () => {
    for (const page of data.pages) if (page.before) cards.get(page.page)(name);
  }}, label));
  main.append(make('section', {class: 'card'}, make('div', {class: 'page'}, make('header', {}, make('h2', {}, count(data.pages.length, 'page') + ' compared'),
    make('span', {class: 'soft'}, `at ${data.dpi} dpi`), make('div', {class: 'modes', role: 'group', 'aria-label': 'View of all pages'}, ...all))),
    make('nav', {class: 'strip', 'aria-label': 'Pages'}, ...data.pages.map((page) => make('a', {href: `#page-${page.page}`, class: differs(page) ? 'bad' : page.equal ? 'same' : '',
      title: page.problem || `SSIM ${ssim(page.ssim)}`}, String(page.page))))));
  // Pages in a row that differ too little for pictures share a card.
  const quiet = (page) => !page.before && !differs(page) && !page.problem;
  for (let begin = 0; begin < data.pages.length;) {
    let end = begin + 1;
    if (!quiet(data.pages[begin])) {
      main.append(pageCard(data.pages[begin]));
    } else {
      while (end < data.pages.length && quiet(data.pages[end])) ++end;
      const run = data.pages.slice(begin, end);
      const lowest = Math.min(...run.map((page) => page.ssim));
      const title = run.length === 1 ? `Page ${run[0].page}` : `Pages ${run[0].page} to ${run[run.length - 1].page}`;
      main.append(make('section', {class: 'card page'}, ...run.map((page) => make('span', {id: `page-${page.page}`})),
        make('header', {}, make('h2', {}, title), make('span', {class: 'soft'},
          `${lowest === 1 ? 'the same' : `SSIM ${ssim(lowest)} or more`}; without pictures, since other pages differ more`))));
    }
    begin = end;
  }
  const wanted = document.getElementById(`page-${settings.get('page')}`);
  if (wanted) wanted.scrollIntoView();
})();

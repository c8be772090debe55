// Shows what kelvara's audit found: a treemap, bars for the profiles that were tried, and the table of everything.
(() => {
  const GROUPS = ['Images', 'Fonts', 'Content', 'Colour', 'Structure', 'Metadata', 'Attachments', 'Thumbnails', 'Unreferenced'];

  const percent = (part, whole) => (whole > 0 ? (100 * part / whole).toFixed(1) : '0.0') + ' %';
  const color = (group) => `var(--g${Math.max(0, GROUPS.indexOf(group))})`;
  const total = (rows) => rows.reduce((sum, row) => sum + row.bytes, 0);

  const groupsOf = (rows) => GROUPS.map((name) => ({name, rows: rows.filter((row) => row.group === name)}))
    .map((group) => ({...group, bytes: total(group.rows)})).filter((group) => group.rows.length > 0);

  // What a tile says of its stream.
  const describe = (item) => {
    const parts = [];
    if (item.name) parts.push(item.name);
    if (item.width) parts.push(`${item.width} × ${item.height} samples`);
    if (item.bits && item.color !== 'mask') parts.push(`${item.bits} bits`);
    if (item.color) parts.push(item.color);
    if (item.dpi) parts.push(`${Math.round(item.dpi)} dpi`);
    if (item.page) parts.push(`page ${item.page}`);
    parts.push(`object ${item.object}`);
    return parts.join(', ');
  };
  const shortName = (item) => item.name || (item.width ? `${item.width} × ${item.height}` : '') ||
    (item.page ? `p. ${item.page}` : `object ${item.object}`);

  // The tiles of a group: its largest streams one by one, and the rest of each of its rows together.
  const tilesOf = (file, group) => {
    const tiles = [];
    for (const row of group.rows) {
      let rest = row.bytes, count = row.count;
      for (const item of file.items) {
        if (item.kind !== row.kind || item.row !== row.name || item.bytes * 400 < file.bytes) continue;
        tiles.push({bytes: item.bytes, title: shortName(item), kind: row.name, text: describe(item)});
        rest -= item.bytes;
        --count;
      }
      if (rest > 0) {
        const others = count < row.count ? `${count} smaller` : count > 1 ? `${count} together` : '';
        tiles.push({bytes: rest, title: row.name, kind: row.name, text: others});
      }
    }
    return tiles.sort((left, right) => right.bytes - left.bytes);
  };

  // Rectangles with areas in proportion to the bytes and sides as equal as they can be: a row along the shorter side
  // takes tiles for as long as that makes its worst one less narrow.
  const squarify = (tiles, box) => {
    const placed = [];
    let {x, y, w, h} = box;
    let left = tiles.reduce((sum, tile) => sum + tile.bytes, 0);
    for (let next = 0; next < tiles.length && left > 0 && w > 0 && h > 0;) {
      const side = Math.min(w, h), scale = w * h / left;
      let sum = 0, worst = Infinity, end = next;
      while (end < tiles.length) {
        const more = sum + tiles[end].bytes * scale;
        const ratio = Math.max(side * side * tiles[next].bytes * scale / (more * more),
                               more * more / (side * side * tiles[end].bytes * scale));
        if (ratio > worst) break;
        worst = ratio;
        sum = more;
        ++end;
      }
      const thick = sum / side;
      let along = 0;
      for (let i = next; i < end; ++i) {
        const long = tiles[i].bytes * scale / thick;
        placed.push({tile: tiles[i], ...(w >= h ? {x, y: y + along, w: thick, h: long} : {x: x + along, y, w: long, h: thick})});
        along += long;
        left -= tiles[i].bytes;
      }
      if (w >= h) { x += thick; w -= thick; } else { y += thick; h -= thick; }
      next = end;
    }
    return placed;
  };

  const style = (element, rectangle) => {
    element.style.left = rectangle.x + 'px';
    element.style.top = rectangle.y + 'px';
    element.style.width = Math.max(0, rectangle.w) + 'px';
    element.style.height = Math.max(0, rectangle.h) + 'px';
  };

  const treemap = (file) => {
    const map = make('div', {class: 'map', role: 'group', 'aria-label': 'Treemap: the area of each tile is its share of the file. Arrow keys move, Enter enlarges a group, Escape shows all.'});
    const detail = make('p', {class: 'detail', 'aria-live': 'polite'});
    const back = make('button', {type: 'button', hidden: '', onclick: () => zoom(null)}, '← All groups');
    let shown = null, buttons = [];

    const say = (tile) => {
      detail.replaceChildren(make('b', {}, tile.title), ` — ${size(tile.bytes)}, ${percent(tile.bytes, file.bytes)} of the file`,
        make('br'), make('span', {class: 'soft'}, [tile.group, tile.kind === tile.title ? '' : tile.kind, tile.text].filter(Boolean).join(' · ')));
    };
    const focus = (button) => {
      for (const other of buttons) other.tabIndex = other === button ? 0 : -1;
      button.focus();
    };
    // The nearest tile in the direction of the arrow key, by the middles.
    const move = (button, key) => {
      const middle = (of) => { const box = of.getBoundingClientRect(); return [box.left + box.width / 2, box.top + box.height / 2]; };
      const [x, y] = middle(button);
      let best = null, least = Infinity;
      for (const other of buttons) {
        if (other === button) continue;
        const [ox, oy] = middle(other);
        const ahead = {ArrowRight: ox - x, ArrowLeft: x - ox, ArrowDown: oy - y, ArrowUp: y - oy}[key];
        const aside = Math.abs(key === 'ArrowRight' || key === 'ArrowLeft' ? oy - y : ox - x);
        if (ahead > 0.5 && ahead + 2 * aside < least) { least = ahead + 2 * aside; best = other; }
      }
      if (best) focus(best);
    };
    const draw = () => {
      const width = map.clientWidth, height = map.clientHeight;
      const groups = groupsOf(file.rows).filter((group) => group.bytes > 0 && (!shown || group.name === shown))
        .sort((left, right) => right.bytes - left.bytes);
      buttons = [];
      map.replaceChildren();
      for (const {tile: group, ...box} of squarify(groups, {x: 0, y: 0, w: width, h: height})) {
        const region = make('div', {class: 'region'});
        region.style.background = color(group.name);
        style(region, box);
        const head = box.h > 44 && box.w > 60 ? 20 : 0;
        if (head) {
          region.append(make('button', {class: 'name', type: 'button', tabindex: '-1', 'aria-hidden': 'true', onclick: () => zoom(shown ? null : group.name)},
            `${group.name} ${percent(group.bytes, file.bytes)}`));
        }
        for (const {tile, ...at} of squarify(tilesOf(file, group), {x: 0, y: head, w: box.w - 2, h: box.h - 2 - head})) {
          tile.group = group.name;
          const button = make('button', {class: 'tile', type: 'button', tabindex: '-1',
            'aria-label': `${group.name}, ${tile.title === tile.kind ? '' : tile.kind + ', '}${tile.title}: ${size(tile.bytes)}, ${percent(tile.bytes, file.bytes)}`,
            onclick: () => { focus(button); say(tile); }, onfocus: () => say(tile), onmouseenter: () => say(tile),
            ondblclick: () => zoom(shown ? null : group.name),
            onkeydown: (event) => {
              if (event.key.startsWith('Arrow')) move(button, event.key);
              else if (event.key === 'Enter' && !shown) zoom(group.name);
              else if (event.key === 'Escape' && shown) zoom(null);
              else return;
              event.preventDefault();
            }});
          if (at.h > 17 && at.w > 34) button.append(make('span', {}, tile.title));
          if (at.h > 34 && at.w > 50) button.append(make('span', {class: 'soft'}, size(tile.bytes)));
          style(button, at);
          region.append(button);
          buttons.push(button);
        }
        map.append(region);
      }
      if (buttons.length) buttons[0].tabIndex = 0;
    };
    const zoom = (name) => {
      shown = name;
      back.hidden = !name;
      draw();
      if (buttons.length) focus(buttons[0]);
    };
    new ResizeObserver(draw).observe(map);
    detail.append(make('span', {class: 'soft'}, 'Point at a tile, or reach it with Tab and the arrow keys. Enter or a double click enlarges a group.'));
    return make('section', {class: 'card'}, make('div', {class: 'top'}, make('h2', {}, 'Where the bytes are'), back), map, detail);
  };

  const bars = (file) => {
    if (!file.estimates.length) return null;
    const grid = make('div', {class: 'bars'});
    const line = (name, bytes, rows, text) => {
      const bar = make('span', {class: 'bar', role: 'img', 'aria-label': `${name}: ${size(bytes)}`});
      const longest = Math.max(file.bytes, ...file.estimates.map((estimate) => estimate.bytes || 0));
      for (const group of groupsOf(rows)) {
        const part = make('i', {title: `${group.name}: ${size(group.bytes)}`});
        part.style.width = 100 * group.bytes / longest + '%';
        part.style.background = color(group.name);
        bar.append(part);
      }
      grid.append(make('span', {}, name), bar, make('span', {}, text));
    };
    line('Now', file.bytes, file.rows, size(file.bytes));
    const problems = [];
    for (const estimate of file.estimates) {
      const name = estimate.profile === 'default' ? 'Without a profile' : estimate.profile;
      if (estimate.error) problems.push(make('p', {class: 'soft'}, `${name}: ${estimate.error}.`));
      else line(name, estimate.bytes, estimate.rows, estimate.saved > 0 ? `${size(estimate.bytes)}, −${percent(estimate.saved, file.bytes)}` : 'no gain');
    }
    const legend = make('div', {class: 'legend'}, ...groupsOf(file.rows).map((group) => {
      const swatch = make('span', {class: 'swatch'});
      swatch.style.background = color(group.name);
      return make('span', {}, swatch, group.name);
    }));
    return make('section', {class: 'card'}, make('h2', {}, 'What a profile would save'), grid, legend, ...problems,
      make('p', {class: 'soft'}, 'Tried by the engine on a copy. kelv keeps a file for which nothing would be saved.'));
  };

  const table = (file) => {
    const tried = file.estimates.filter((estimate) => !estimate.error);
    const rows = new Map(file.rows.map((row) => [row.kind + '/' + row.name, {...row}]));
    for (const estimate of tried) {
      for (const row of estimate.rows) {
        const key = row.kind + '/' + row.name;
        if (!rows.has(key)) rows.set(key, {...row, bytes: 0, count: 0});
      }
    }
    const after = (estimate, test) => total(estimate.rows.filter(test));
    const body = make('tbody');
    for (const group of groupsOf([...rows.values()])) {
      const swatch = make('span', {class: 'swatch'});
      swatch.style.background = color(group.name);
      body.append(make('tr', {class: 'group'}, make('td', {}, swatch, group.name), make('td'), make('td', {}, size(group.bytes)),
        make('td', {}, percent(group.bytes, file.bytes)), ...tried.map((estimate) => make('td', {}, size(after(estimate, (row) => row.group === group.name))))));
      for (const row of group.rows) {
        body.append(make('tr', {class: 'part'}, make('td', {}, row.name), make('td', {}, row.count ? String(row.count) : ''), make('td', {}, size(row.bytes)),
          make('td', {}, percent(row.bytes, file.bytes)), ...tried.map((estimate) => make('td', {}, size(after(estimate, (other) => other.kind === row.kind && other.name === row.name))))));
      }
    }
    body.append(make('tr', {class: 'group'}, make('td', {}, 'All'), make('td'), make('td', {}, size(file.bytes)), make('td'), ...tried.map((estimate) => make('td', {}, size(estimate.bytes)))));
    return make('section', {class: 'card'}, make('h2', {}, 'Everything'), make('div', {class: 'scroll'}, make('table', {},
      make('thead', {}, make('tr', {}, make('th', {scope: 'col'}, ''), make('th', {scope: 'col'}, 'Number'), make('th', {scope: 'col'}, 'Size'), make('th', {scope: 'col'}, 'Share'),
        ...tried.map((estimate) => make('th', {scope: 'col'}, estimate.profile)))), body)));
  };

  const show = (file) => {
    content.replaceChildren();
    if (file.error) {
      content.append(make('section', {class: 'card'}, make('p', {class: 'bad'}, `${file.file}: ${file.error}.`)));
      return;
    }
    const facts = [`${file.pages} ${file.pages === 1 ? 'page' : 'pages'}`, `PDF ${file.version}`];
    for (const [name, holds] of [['encrypted', file.encrypted], ['linearized', file.linearized], ['tagged', file.tagged]]) if (holds) facts.push(name);
    content.append(make('ul', {class: 'chips'}, make('li', {class: 'chip'}, make('b', {}, size(file.bytes))), ...facts.map((fact) => make('li', {class: 'chip'}, fact))));
    content.append(...[bars(file), treemap(file), table(file)].filter(Boolean));
  };

  const title = make('h1', {}, data.files.length === 1 ? data.files[0].file : `${data.files.length} files, ${size(data.files.reduce((sum, file) => sum + (file.bytes || 0), 0))}`);
  const content = make('div');
  main.append(make('div', {class: 'top'}, make('div', {}, make('p', {class: 'soft'}, 'Where the bytes are'), title), theme));
  if (data.files.length > 1) {
    const choice = make('select', {'aria-label': 'File', onchange: () => show(data.files[choice.selectedIndex])},
      ...data.files.map((file) => make('option', {}, file.error ? `${file.file} (not read)` : `${file.file} (${size(file.bytes)})`)));
    main.append(make('p', {}, choice));
  }
  main.append(content);
  show(data.files[0]);
})();

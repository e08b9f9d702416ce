// Searching the page: rows and lines that hold all words, highlighted, one after the other. Part of
// the page's script (html_script.js), which it stands in front of.
"use strict";

// `focusCell(cell)` gives a cell the keyboard.
function makeSearch($, all, focusCell) {
  const k_rowHeight = 29;
  const k_mostHighlights = 2000;
  let parts = null;  // of each section, what can match; read when it is first needed
  let words = [];
  let searched = "";
  let found = [];  // the matches that are highlighted: { row }, or { pre, start, end } of a line
  let matchCount = 0;
  let current = -1;  // of `found`
  let foldedBefore = [];
  let openedForMatch = [];

  function readParts() {
    const textOf = (element) => element.textContent.toLowerCase();
    parts = all("section").map((section) => ({
      section,
      blocks: all(".block", section).map((block) => ({
        block,
        bodies: all("tbody", block),
        rows: all("tbody > tr", block).map((row) => ({ row, text: textOf(row) })),
        title: block.classList.contains("file") ? textOf(block.querySelector("h3")) : "",
        pieces: block.classList.contains("file")
          ? all("pre", block).map((pre) => ({ pre, text: textOf(pre) }))
          : [],
      })),
    }));
  }

  const matches = (text) => words.every((word) => text.includes(word));

  function resizeGroup(body) {
    let shown = 0;
    for (const row of body.rows) shown += row.hidden ? 0 : 1;
    body.hidden = shown === 0;
    if (body.parentNode.classList.contains("tall")) {
      body.style.containIntrinsicBlockSize = `${shown * k_rowHeight}px`;
    }
  }

  function unfold(details) {
    if (!details || details.open) return;
    details.open = true;
    openedForMatch.push(details);
  }

  function takeRow(row) {
    if (found.length >= k_mostHighlights) return;
    found.push({ row });
    for (const details of row.querySelectorAll("details")) {
      const text = details.textContent.toLowerCase();
      if (words.some((word) => text.includes(word))) unfold(details);
    }
  }

  // Returns the number of its lines that hold all words.
  function takeLines({ pre, text }) {
    let count = 0;
    for (let at = 0; (at = text.indexOf(words[0], at)) >= 0; ) {
      const start = text.lastIndexOf("\n", at) + 1;
      const end = text.indexOf("\n", at) < 0 ? text.length : text.indexOf("\n", at);
      at = end;
      if (!matches(text.slice(start, end))) continue;
      ++count;
      if (found.length < k_mostHighlights) found.push({ pre, start, end });
    }
    if (count > 0) unfold(pre.closest("details:not(.fold)"));
    return count;
  }

  // Returns the number of matches in it.
  function filterBlock({ block, bodies, rows, title, pieces }) {
    const isSearching = words.length > 0;
    let count = 0;
    for (const { row, text: rowText } of rows) {
      const isShown = matches(rowText);
      if (row.hidden === isShown) row.hidden = !isShown;
      if (!isShown) continue;
      ++count;
      if (isSearching) takeRow(row);
    }
    bodies.forEach(resizeGroup);
    if (isSearching) for (const piece of pieces) count += takeLines(piece);
    if (isSearching && count === 0 && title !== "" && matches(title)) ++count;
    block.hidden = isSearching && count === 0;
    return count;
  }

  // Live ranges would be adjusted at every move of a row; these are not.
  function rangesOf({ row, pre, start, end }) {
    const ranges = [];
    const walker = document.createTreeWalker(row ?? pre, NodeFilter.SHOW_TEXT);
    while (walker.nextNode()) {
      const node = walker.currentNode;
      const text = node.data.toLowerCase();
      for (const word of words) {
        let at = text.indexOf(word, start ?? 0);
        for (; at >= 0 && at < (end ?? text.length); at = text.indexOf(word, at + word.length)) {
          if (at + word.length > node.length) break;
          ranges.push(new StaticRange({
            startContainer: node,
            startOffset: at,
            endContainer: node,
            endOffset: at + word.length,
          }));
        }
      }
      if (pre) break;
    }
    return ranges;
  }

  function highlight(name, chosen) {
    if (!CSS.highlights) return;
    const ranges = chosen.flatMap(rangesOf);
    const made = new Highlight();
    for (const range of ranges) made.add(range);
    if (name === "current") made.priority = 1;
    CSS.highlights.set(name, made);
  }

  function placeOf(match) {
    if (match.row) return match.row.getBoundingClientRect();
    const range = document.createRange();
    const node = match.pre.firstChild;
    range.setStart(node, Math.min(match.start, node.length));
    range.setEnd(node, Math.min(match.end, node.length));
    return range.getBoundingClientRect();
  }

  // What comes into view gets its real size only then, so the place is looked up again.
  function scrollToMatch(match, again = 5) {
    if (found[current] !== match) return;
    const { top, bottom } = placeOf(match);
    if (top < $("bar").offsetHeight + 40 || bottom > innerHeight - 20) {
      scrollBy({ top: top - innerHeight / 3, behavior: "instant" });
    }
    if (again > 0) requestAnimationFrame(() => scrollToMatch(match, again - 1));
  }

  function goTo(index, isStep) {
    current = index;
    highlight("current", index < 0 ? [] : [found[index]]);
    if (index >= 0) scrollToMatch(found[index]);
    const count = `${matchCount.toLocaleString("en")} ${matchCount === 1 ? "match" : "matches"}`;
    const isPlaced = isStep && found.length > 1;
    $("found").textContent =
      words.length === 0 ? "" : isPlaced ? `${index + 1} of ${count}` : count;
  }

  function hideEntries() {
    for (const link of all("#contents a")) {
      const target = $(link.hash.slice(1));
      if (target) link.parentNode.hidden = target.hidden;
    }
  }

  function search(query) {
    if (query === searched) return;
    searched = query;
    hasStepped = false;
    const wasSearching = words.length > 0;
    words = query.toLowerCase().split(/\s+/).filter((word) => word !== "");
    const isSearching = words.length > 0;
    if (!isSearching && !wasSearching) return;
    if (parts === null) readParts();
    for (const details of openedForMatch) details.open = false;
    openedForMatch = [];
    // What the user folded must not hide matches.
    if (isSearching && !wasSearching) {
      foldedBefore = all("details.fold:not([open])");
      for (const details of foldedBefore) details.open = true;
    } else if (!isSearching) {
      for (const details of foldedBefore) details.open = false;
      foldedBefore = [];
    }
    found = [];
    matchCount = 0;
    for (const { section, blocks } of parts) {
      let inSection = 0;
      for (const block of blocks) inSection += filterBlock(block);
      section.hidden = isSearching && inSection === 0;
      matchCount += inSection;
    }
    highlight("found", found);
    hideEntries();
    $("nothing").hidden = !isSearching || matchCount > 0;
    goTo(found.length > 0 ? 0 : -1, false);
  }

  // Enter: the first match, then one after the other; a row's first cell gets the keyboard.
  let hasStepped = false;
  function step(by) {
    search($("search").value);
    if (found.length === 0) return;
    goTo(hasStepped ? (current + by + found.length) % found.length : current, true);
    hasStepped = true;
    focusCell(found[current].row?.querySelector("td"));
  }

  return { search, step, resizeGroup, isSearching: () => words.length > 0 };
}

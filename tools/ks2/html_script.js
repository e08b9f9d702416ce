// The page of a report. Everything is there without this script; it adds searching, sorting,
// copying, the contents list's reading position and the colour switch. It sets text and styles
// through the object model only, which the page's policy allows.
"use strict";

(() => {
  const root = document.documentElement;
  const $ = (id) => document.getElementById(id);
  const all = (selector, within = document) => [...within.querySelectorAll(selector)];
  root.classList.add("js");

  // What a cell or a file says, without what the page added to it.
  function valueOf(element) {
    const kinds = NodeFilter.SHOW_ELEMENT | NodeFilter.SHOW_TEXT;
    const walker = document.createTreeWalker(element, kinds, {
      acceptNode: (node) =>
        node.nodeType === 1 && node.classList.contains("x")
          ? NodeFilter.FILTER_REJECT
          : NodeFilter.FILTER_ACCEPT,
    });
    let text = "";
    while (walker.nextNode()) {
      if (walker.currentNode.nodeType === 3) text += walker.currentNode.data;
    }
    return text;
  }

  function say(text) {
    $("said").textContent = text;
  }

  // --- colours ----------------------------------------------------------------------------------

  function setUpTheme() {
    const dark = matchMedia("(prefers-color-scheme: dark)");
    const isDark = () => (root.dataset.theme ?? (dark.matches ? "dark" : "light")) === "dark";
    const label = () => ($("theme").textContent = isDark() ? "Light" : "Dark");
    $("theme").addEventListener("click", () => {
      root.dataset.theme = isDark() ? "light" : "dark";
      label();
    });
    dark.addEventListener("change", label);
    label();
  }

  // --- widths -----------------------------------------------------------------------------------

  function setUpWidths() {
    for (const table of all("table.tall")) {
      const widths = table.dataset.cols.trim().split(" ").map(Number);
      const columns = widths.map((w) => `minmax(${Math.min(w, 14) + 3}ch, ${w + 3}fr)`);
      table.style.setProperty("--cols", columns.join(" "));
      const least = widths.reduce((sum, w) => sum + Math.min(w, 14) + 3, 0);
      table.style.minWidth = `max(100%, ${least}ch)`;
    }
    // A table that fits keeps its heading below the page's bar; a wider one becomes a box of its
    // own, in which both directions scroll.
    const observer = new ResizeObserver((entries) => {
      for (const box of new Set(entries.map((entry) => entry.target.closest(".scroll")))) {
        const table = box.firstElementChild;
        box.classList.add("fits");
        const fits = table.offsetWidth <= box.offsetWidth + 1;
        box.classList.toggle("fits", fits);
        box.classList.toggle("boxed", !fits && table.offsetHeight > innerHeight);
      }
    });
    for (const box of all(".scroll")) {
      observer.observe(box);
      observer.observe(box.firstElementChild);
    }
  }

  // --- search -----------------------------------------------------------------------------------

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

  function setUpSearch() {
    let timer;
    $("search").addEventListener("input", () => {
      clearTimeout(timer);
      timer = setTimeout(() => search($("search").value), 120);
    });
    if ($("search").value !== "") search($("search").value);
  }

  function endSearch() {
    $("search").value = "";
    search("");
  }

  // --- sorting ----------------------------------------------------------------------------------

  const collator = new Intl.Collator("en", { numeric: true, sensitivity: "base" });
  const originalRows = new WeakMap();

  function sortedRows(rows, column, isNumber, sign) {
    const keyed = rows.map((row, index) => {
      const text = row.cells[column] ? valueOf(row.cells[column]).trim() : "";
      const number = text.startsWith("0x") ? Number(text) : parseFloat(text);
      return { row, index, text, number };
    });
    // Empty cells come last either way.
    keyed.sort((a, b) => {
      if ((a.text === "") !== (b.text === "")) return a.text === "" ? 1 : -1;
      const order = isNumber ? a.number - b.number || 0 : collator.compare(a.text, b.text);
      return sign * order || a.index - b.index;
    });
    return keyed.map((entry) => entry.row);
  }

  // Rising, falling, as in the report.
  function sortBy(head) {
    const table = head.closest("table");
    if (!originalRows.has(table)) originalRows.set(table, all("tbody > tr", table));
    const next = { null: "ascending", ascending: "descending" }[head.getAttribute("aria-sort")];
    for (const other of head.parentNode.cells) other.removeAttribute("aria-sort");
    let rows = originalRows.get(table);
    if (next) {
      head.setAttribute("aria-sort", next);
      const isNumber = head.classList.contains("n");
      rows = sortedRows(rows, head.cellIndex, isNumber, next === "ascending" ? 1 : -1);
    }
    const bodies = [...table.tBodies];
    const size = bodies[0].rows.length;
    bodies.forEach((body, i) => body.replaceChildren(...rows.slice(i * size, (i + 1) * size)));
    bodies.forEach(resizeGroup);
    say(next ? `Sorted by ${head.textContent}, ${next}` : "As in the report");
  }

  // --- cells ------------------------------------------------------------------------------------

  let copyButton;
  let copyCell = null;

  async function copyText(text) {
    try {
      await navigator.clipboard.writeText(text);
    } catch {
      const area = document.createElement("textarea");
      area.value = text;
      area.className = "unseen";
      document.body.append(area);
      const focused = document.activeElement;
      area.select();
      document.execCommand("copy");
      area.remove();
      focused?.focus({ preventScroll: true });
    }
  }

  async function copyWith(button, text) {
    await copyText(text);
    say("Copied");
    button.textContent = "Copied";
    setTimeout(() => (button.textContent = "Copy"), 1200);
  }

  function offerCopy(cell) {
    copyCell = cell;
    copyButton.hidden = cell === null || valueOf(cell) === "";
    if (copyButton.hidden) return;
    copyButton.textContent = "Copy";
    const place = cell.getBoundingClientRect();
    const box = cell.closest(".scroll").getBoundingClientRect();
    const right = Math.min(place.right, box.right, innerWidth);
    copyButton.style.left = `${Math.max(right - copyButton.offsetWidth - 2, 2)}px`;
    copyButton.style.top = `${place.top + 2}px`;
  }

  function focusCell(cell) {
    if (!cell) return;
    cell.tabIndex = -1;
    cell.focus();
  }

  function nextRow(row, back) {
    const step = back ? "previousElementSibling" : "nextElementSibling";
    const edge = back ? "lastElementChild" : "firstElementChild";
    let next = row;
    do {
      if (next[step]) {
        next = next[step];
      } else {
        const body = next.parentNode[step];
        if (!body || body.tagName !== "TBODY") return null;
        next = body[edge];
      }
    } while (next && next.hidden);
    return next;
  }

  function cellAt(cell, key) {
    const row = cell.parentNode;
    const cells = [...row.cells].filter((other) => other.tagName === "TD");
    const at = cells.indexOf(cell);
    switch (key) {
      case "ArrowLeft": return cells[at - 1];
      case "ArrowRight": return cells[at + 1];
      case "Home": return cells[0];
      case "End": return cells[cells.length - 1];
      case "ArrowUp": return nextRow(row, true)?.cells[cell.cellIndex];
      case "ArrowDown": return nextRow(row, false)?.cells[cell.cellIndex];
      default: return undefined;
    }
  }

  function setUpCells() {
    copyButton = document.createElement("button");
    copyButton.type = "button";
    copyButton.id = "copy";
    copyButton.hidden = true;
    copyButton.tabIndex = -1;
    document.body.append(copyButton);
    copyButton.addEventListener("click", () => copyWith(copyButton, valueOf(copyCell)));

    // One cell of each table is reached by Tab, the others from there.
    for (const table of all("table")) {
      const first = table.querySelector("td");
      if (first) first.tabIndex = 0;
    }
    const report = $("report");
    report.addEventListener("pointerover", (event) => offerCopy(event.target.closest("td")));
    report.addEventListener("pointerleave", (event) => {
      if (event.relatedTarget !== copyButton) offerCopy(null);
    });
    report.addEventListener("focusin", (event) => {
      if (event.target.tagName === "TD") offerCopy(event.target);
    });
    report.addEventListener("click", (event) => {
      const button = event.target.closest("button");
      if (button?.classList.contains("copyfile")) {
        const pieces = all("pre", button.closest(".block"));
        copyWith(button, pieces.map((piece) => piece.textContent).join(""));
      } else if (button?.closest("th")) {
        sortBy(button.closest("th"));
      } else if (event.target.tagName === "TD" && getSelection().isCollapsed) {
        focusCell(event.target);
      }
    });
    report.addEventListener("keydown", (event) => {
      const cell = event.target;
      if (cell.tagName !== "TD" || event.altKey || event.shiftKey) return;
      const copies = event.ctrlKey || event.metaKey ? event.key === "c" : event.key === "Enter";
      if (copies && getSelection().isCollapsed) {
        copyWith(copyButton, valueOf(cell));
      } else if (event.ctrlKey || event.metaKey) {
        return;
      } else {
        const next = cellAt(cell, event.key);
        if (!next) return;
        focusCell(next);
      }
      event.preventDefault();
    });
    addEventListener("scroll", () => offerCopy(null), { passive: true, capture: true });
  }

  // --- contents ---------------------------------------------------------------------------------

  function showCurrent(links, target) {
    for (const old of all("#contents [aria-current], #contents .current")) {
      old.removeAttribute("aria-current");
      old.classList.remove("current");
    }
    const link = links.get(target);
    if (!link) return;
    link.setAttribute("aria-current", "true");
    for (let item = link.closest("li"); item; item = item.parentNode.closest("li")) {
      item.classList.add("current");
    }
    const list = $("contents");
    const top = link.getBoundingClientRect().top - list.getBoundingClientRect().top;
    if (top < 40 || top > list.clientHeight - 60) list.scrollTop += top - list.clientHeight / 3;
  }

  // The current part is the first one that reaches below the bar, a table before its section.
  function setUpContents() {
    const links = new Map();
    const order = new Map();
    for (const target of all("section, .block")) {
      const link = document.querySelector(`#contents a[href="#${target.id}"]`);
      if (!link) continue;
      links.set(target, link);
      order.set(target, order.size);
    }
    const seen = new Set();
    const update = () => {
      let current = null;
      const atEnd = scrollY > 0 && innerHeight + scrollY >= root.scrollHeight - 2;
      for (const target of seen) {
        const isBetter = current === null || current.contains(target) ||
          (!target.contains(current) && (order.get(target) < order.get(current)) !== atEnd);
        if (isBetter) current = target;
      }
      if (current !== null) showCurrent(links, current);
    };
    const observer = new IntersectionObserver(
      (entries) => {
        for (const { isIntersecting, target } of entries) {
          if (isIntersecting) seen.add(target);
          else seen.delete(target);
        }
        update();
      },
      { rootMargin: "-110px 0px -55% 0px" },
    );
    for (const target of links.keys()) observer.observe(target);
    addEventListener("scrollend", update);

    const toggle = (isOpen) => {
      root.classList.toggle("menu", isOpen);
      $("menu").setAttribute("aria-expanded", isOpen);
    };
    $("menu").addEventListener("click", () => toggle(!root.classList.contains("menu")));
    $("contents").addEventListener("click", (event) => {
      if (event.target.closest("a")) toggle(false);
    });
    addEventListener("keydown", (event) => {
      if (event.key === "Escape") toggle(false);
    });
  }

  // --- folding, links, keys ---------------------------------------------------------------------

  function reveal() {
    const target = location.hash.length > 1 ? $(location.hash.slice(1)) : null;
    if (!target) return;
    if (target.closest("[hidden]")) endSearch();
    for (let at = target; at; at = at.parentNode.closest?.("details")) {
      if (at.tagName === "DETAILS") at.open = true;
    }
    if (target.tagName === "SECTION") target.querySelector("details").open = true;
    // What comes into view by that gets its real size only now, so the target may move once more.
    target.scrollIntoView();
    requestAnimationFrame(() => requestAnimationFrame(() => target.scrollIntoView()));
  }

  function setUpFolding() {
    const folds = all("details.fold");
    $("fold").hidden = folds.length === 0;
    $("fold").addEventListener("click", () => {
      const isOpen = folds.some((details) => details.open);
      for (const details of folds) details.open = !isOpen;
      $("fold").textContent = isOpen ? "Unfold all" : "Fold all";
    });
    addEventListener("hashchange", reveal);
    $("contents").addEventListener("click", (event) => {
      const link = event.target.closest("a");
      if (link && link.hash === location.hash) reveal();
    });
    reveal();
  }

  // Everything is printed, what is folded too.
  function setUpPrint() {
    let folded = [];
    addEventListener("beforeprint", () => {
      folded = all("details:not([open])");
      for (const details of folded) details.open = true;
    });
    addEventListener("afterprint", () => {
      for (const details of folded) details.open = false;
      folded = [];
    });
  }

  function setUpKeys() {
    addEventListener("keydown", (event) => {
      if (event.ctrlKey || event.metaKey || event.altKey) return;
      const isTyping = event.target === $("search");
      if (event.key === "/" && !isTyping) {
        event.preventDefault();
        $("search").focus();
        $("search").select();
      } else if (event.key === "Escape") {
        if (isTyping && $("search").value === "") $("search").blur();
        if (isTyping || words.length > 0) endSearch();
      } else if (event.key === "Enter" && isTyping) {
        step(event.shiftKey ? -1 : 1);
      }
    });
  }

  document.addEventListener("DOMContentLoaded", () => {
    setUpTheme();
    setUpWidths();
    setUpSearch();
    setUpCells();
    setUpContents();
    setUpFolding();
    setUpPrint();
    setUpKeys();
  });
})();

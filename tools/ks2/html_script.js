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

  const { search, step, resizeGroup, isSearching } = makeSearch($, all, focusCell);

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
        if (isTyping || isSearching()) endSearch();
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

"use strict";
// Shows the files that are searched for, a batch at a time: a table of all of them would take a
// browser seconds. Names are only ever set as text.
(() => {
  const batch = 100;
  const policies = ["always", "missing", "never"];
  const units = ["kB", "MB", "GB", "TB"];
  const byId = (id) => document.getElementById(id);
  const [search, kind, count, more] = ["search", "kind", "count", "more"].map(byId);
  const body = byId("files").tBodies[0];
  const base = byId("files").dataset.base;
  const heads = [...byId("files").querySelectorAll("th[data-key]")];

  const searchable = (text) => text.normalize("NFC").toLowerCase();
  const files = JSON.parse(byId("data").textContent).map(([name, size, marks, address], place) => ({
    name,
    size,
    place,
    policy: policies[marks & 3],
    isPicture: (marks & 4) !== 0,
    mark: marks & 8 ? "new" : marks & 16 ? "changed" : "",
    address: base + (address ?? name),
    text: searchable(name),
  }));
  const kinds = {
    all: () => true,
    pictures: (file) => file.isPicture,
    changed: (file) => file.mark !== "",
  };
  for (const policy of policies) kinds[policy] = (file) => file.policy === policy;

  let found = [];
  let shown = 0;
  let key = "place";
  let direction = 1;

  function bytesText(bytes) {
    if (bytes < 1000) return bytes + (bytes === 1 ? " byte" : " bytes");
    let amount = bytes / 1000;
    let unit = 0;
    while (amount >= 999.95 && unit + 1 < units.length) {
      amount /= 1000;
      ++unit;
    }
    return amount.toFixed(1) + " " + units[unit];
  }

  function element(tag, className, ...content) {
    const made = document.createElement(tag);
    made.className = className;
    made.append(...content);
    return made;
  }

  function preview(file) {
    const image = element("img", "");
    image.loading = "lazy";
    image.decoding = "async";
    image.alt = "";
    image.width = image.height = 48;
    image.addEventListener("error", () => image.remove());
    image.src = file.address;
    return image;
  }

  function row(file) {
    const name = element("th", "");
    name.scope = "row";
    if (file.policy === "never") {
      name.append(file.name);
    } else {
      const link = element("a", "", file.name);
      link.href = file.address;
      name.append(link);
    }
    if (file.mark !== "") name.append(element("span", "mark", file.mark));
    return element(
      "tr",
      "",
      element("td", "preview", ...(file.isPicture ? [preview(file)] : [])),
      name,
      element("td", "policy", file.policy),
      element("td", "size number", bytesText(file.size)),
    );
  }

  function showBatch() {
    const rows = found.slice(shown, shown + batch).map(row);
    body.append(...rows);
    shown += rows.length;
    more.hidden = shown === found.length;
    more.textContent = `Show ${Math.min(batch, found.length - shown)} more`;
    return rows[0];
  }

  function showFound() {
    const words = searchable(search.value).split(/\s+/);
    const isOfKind = kinds[kind.value];
    found = files.filter((file) => isOfKind(file) && words.every((word) => file.text.includes(word)));
    found.sort((a, b) => direction * (a[key] - b[key]) || a.place - b.place);
    body.replaceChildren();
    shown = 0;
    showBatch();
    const total = found.reduce((sum, file) => sum + file.size, 0);
    const number = (value) => value.toLocaleString("en");
    count.textContent =
      `${number(found.length)} of ${number(files.length)} ` +
      `${files.length === 1 ? "file" : "files"}, ${bytesText(total)}`;
  }

  function sortBy(head) {
    direction = key === head.dataset.key ? -direction : head.dataset.key === "size" ? -1 : 1;
    key = head.dataset.key;
    for (const other of heads) other.removeAttribute("aria-sort");
    head.setAttribute("aria-sort", direction > 0 ? "ascending" : "descending");
    showFound();
  }

  search.addEventListener("input", showFound);
  kind.addEventListener("change", showFound);
  more.addEventListener("click", () => {
    const first = showBatch();
    first.tabIndex = -1;
    first.focus({ preventScroll: true });
  });
  for (const head of heads) head.querySelector("button").addEventListener("click", () => sortBy(head));
  byId("form").hidden = false;
  showFound();
})();

// Bars of the errors' sizes, with marks at the median, at 99.9 % and at the worst.
"use strict";

korPage.histogram = function (container, { edges, counts, marks, unit }) {
  const width = Math.min(720, Math.max(280, container.clientWidth));
  const [height, left, bottom, top] = [300, 56, 44, 58];
  const part = (name, attributes, text) => {
    const element = document.createElementNS("http://www.w3.org/2000/svg", name);
    Object.entries(attributes).forEach(([key, value]) => element.setAttribute(key, value));
    if (text !== undefined) {
      element.textContent = text;
    }
    return element;
  };
  const paint = (element, property, colour) => {
    element.style[property] = `var(--${colour})`;
    return element;
  };
  const svg = part("svg", { viewBox: `0 0 ${width} ${height}`, role: "img" });
  svg.setAttribute(
    "aria-label",
    `Histogram of the error, ${unit}: ` + marks.map(({ name, text }) => `${name} ${text}`).join(", "),
  );
  const [first, last] = [edges[0], edges[edges.length - 1]];
  const most = Math.max(1, ...counts);
  const x = (value) => left + ((width - left - 16) * (value - first)) / (last - first || 1);
  const y = (count) => height - bottom - ((height - bottom - top) * count) / most;
  for (const share of [0, 0.5, 1]) {
    const count = Math.round(most * share);
    svg.append(
      paint(part("line", { x1: left, x2: width - 16, y1: y(count), y2: y(count) }), "stroke", "grid"),
      part("text", { x: left - 8, y: y(count) + 4, "text-anchor": "end" }, String(count)),
    );
  }
  counts.forEach((count, i) => {
    const [from, to] = [x(edges[i]), x(edges[i + 1])];
    if (count > 0) {
      const size = Math.max(1.5, y(0) - y(count)); // a single row is seen as well
      const bar = part("rect", { x: from + 0.5, width: Math.max(1, to - from - 1), y: y(0) - size, height: size });
      bar.append(part("title", {}, `${edges[i].toPrecision(3)} to ${edges[i + 1].toPrecision(3)} ${unit}: ${count} rows`));
      svg.append(paint(bar, "fill", "line-1"));
    }
  });
  const steps = width < 480 ? 2 : 4;
  for (let i = 0; i <= steps; ++i) {
    const value = first + ((last - first) * i) / steps;
    svg.append(
      part(
        "text",
        { x: x(value), y: height - bottom + 18, "text-anchor": i === steps ? "end" : "middle" },
        String(Number(value.toPrecision(3))),
      ),
    );
  }
  svg.append(part("text", { x: (left + width) / 2, y: height - 6, "text-anchor": "middle" }, unit));
  const names = [];
  marks.forEach(({ name, value, text }, i) => {
    const at = x(Math.min(last, Math.max(first, value)));
    const line = part("line", { x1: at, x2: at, y1: 12 + 15 * i, y2: y(0), "stroke-width": 1.5 });
    line.setAttribute("stroke-dasharray", ["none", "7 3", "2 2"][i]);
    const beyond = at > width * 0.6;
    svg.append(paint(line, "stroke", "ink"));
    const place = { x: at + (beyond ? -6 : 6), y: 16 + 15 * i, "text-anchor": beyond ? "end" : "start" };
    names.push(part("text", { ...place, class: "over-lines" }, `${name} ${text}`));
  });
  svg.append(...names);
  container.replaceChildren(svg);
};

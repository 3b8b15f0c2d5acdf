// Strip charts below each other, with one window of time and one cursor.
"use strict";

korPage.dashes = [null, [7, 3], [2, 2]];

korPage.colour = function (name) {
  return getComputedStyle(document.documentElement).getPropertyValue("--" + name).trim();
};

// A text for a time in seconds, with the digits that a stretch of time needs.
korPage.secondsText = function (seconds, span) {
  const digits = span > 50 ? 1 : span > 0.5 ? 3 : 4;
  return seconds.toFixed(digits);
};

korPage.sample = function (colour, dash, width = 2) {
  const svg = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  svg.setAttribute("width", "26");
  svg.setAttribute("height", "10");
  svg.setAttribute("aria-hidden", "true");
  const line = document.createElementNS("http://www.w3.org/2000/svg", "line");
  const attributes = { x1: 0, x2: 26, y1: 5, y2: 5, "stroke-width": width };
  Object.entries(attributes).forEach(([key, value]) => line.setAttribute(key, value));
  if (dash) {
    line.setAttribute("stroke-dasharray", dash.join(" "));
  }
  line.style.stroke = "var(--" + colour + ")";
  svg.append(line);
  return svg;
};

korPage.Charts = class {
  // Given  events  putCursor(seconds): the cursor is asked for; moved(): another window of time is shown
  constructor(container, recording, events) {
    this.recording = recording;
    this.events = events;
    this.from = 0;
    this.to = Math.max(recording.duration, 1e-3);
    // Seconds at the end that stay in sight while rows come; null if the window stays where it is.
    this.following = recording.manifest.live ? korPage.followed : null;
    this.panels = recording.manifest.panels.map((panel) => this.makePanel(container, panel));
    this.resizing = new ResizeObserver(() => this.draw());
    this.resizing.observe(container);
  }

  makePanel(container, { title, unit, columns }) {
    const { charted } = this.recording.manifest;
    const element = document.createElement("div");
    element.className = "panel";
    const heading = document.createElement("h3");
    heading.textContent = unit ? `${title}, ${unit}` : title;
    const legend = document.createElement("p");
    legend.className = "legend";
    const readings = columns.map((column, i) => {
      const item = document.createElement("span");
      const value = document.createElement("b");
      item.append(korPage.sample(`line-${i + 1}`, korPage.dashes[i]), charted[column].name, value);
      legend.append(item);
      return value;
    });
    const chart = document.createElement("div");
    chart.className = "chart";
    chart.tabIndex = 0;
    chart.setAttribute("role", "img");
    const plot = document.createElement("div");
    plot.className = "plot";
    const [hair, hover, band] = ["hair", "hover", "band"].map((name) => {
      const line = document.createElement("div");
      line.className = name;
      line.hidden = true;
      return line;
    });
    chart.append(plot, hair, hover, band);
    element.append(heading, legend, chart);
    container.append(element);
    const panel = { title, unit, columns, chart, plot, hair, hover, band, readings, graph: null };
    this.listen(panel);
    return panel;
  }

  describe(panel) {
    const { manifest } = this.recording;
    const ranges = panel.columns.map((column) => {
      const { name, least, most } = manifest.charted[column];
      return least === null ? `${name} has no values` : `${name} from ${least} to ${most}`;
    });
    const unit = panel.unit ? ` (${panel.unit})` : "";
    panel.chart.setAttribute("aria-label", `${panel.title}${unit} over ${manifest.duration} s: ${ranges.join("; ")}`);
  }

  listen(panel) {
    const { chart } = panel;
    let start = null;
    const timeAt = (event) => {
      const x = event.clientX - panel.plot.getBoundingClientRect().left;
      return Math.min(this.to, Math.max(this.from, panel.graph.toDataXCoord(x)));
    };
    chart.addEventListener("pointerdown", (event) => {
      if (panel.graph && event.button === 0) {
        start = { x: event.clientX, time: timeAt(event) };
        chart.setPointerCapture(event.pointerId);
      }
    });
    chart.addEventListener("pointermove", (event) => {
      if (!panel.graph) {
        return;
      }
      this.hoverAt(timeAt(event));
      if (start && Math.abs(event.clientX - start.x) > 4) {
        const [a, b] = [start.time, timeAt(event)].sort((one, two) => one - two);
        const [left, right] = [a, b].map((time) => panel.graph.toDomXCoord(time));
        panel.band.hidden = false;
        panel.band.style.left = `${left}px`;
        panel.band.style.width = `${right - left}px`;
      }
    });
    chart.addEventListener("pointerup", (event) => {
      if (!start) {
        return;
      }
      const time = timeAt(event);
      panel.band.hidden = true;
      if (Math.abs(event.clientX - start.x) > 4) {
        this.show(Math.min(start.time, time), Math.max(start.time, time));
      } else {
        this.events.putCursor(time);
      }
      start = null;
    });
    chart.addEventListener("pointercancel", () => {
      panel.band.hidden = true;
      start = null;
    });
    chart.addEventListener("pointerleave", () => this.hoverAt(null));
    chart.addEventListener("dblclick", () => this.showAll());
    chart.addEventListener("keydown", (event) => {
      const act = {
        ArrowLeft: () => this.shift(-0.25),
        ArrowRight: () => this.shift(0.25),
        "+": () => this.zoom(0.5),
        "=": () => this.zoom(0.5),
        "-": () => this.zoom(2),
        0: () => this.showAll(),
      }[event.key];
      if (act && !event.ctrlKey && !event.altKey && !event.metaKey) {
        event.preventDefault();
        act();
      }
    });
  }

  show(from, to) {
    this.following = null;
    this.move(from, to);
  }

  move(from, to) {
    const whole = Math.max(this.recording.duration, 1e-3);
    const span = Math.min(whole, Math.max(to - from, 1e-3));
    this.from = Math.min(Math.max(0, from), whole - span);
    this.to = this.from + span;
    this.draw();
    this.events.moved();
  }

  showAll() {
    this.show(0, this.recording.duration);
    this.following = this.recording.manifest.live ? Infinity : null;
  }

  followEnd() {
    this.following = this.to - this.from;
    this.follow();
  }

  // Draws what has come.
  follow() {
    const { duration } = this.recording;
    if (this.following === null) {
      this.draw();
    } else {
      this.move(Math.max(0, duration - this.following), duration);
    }
  }

  // By a share of what is shown.
  shift(share) {
    const by = share * (this.to - this.from);
    this.show(this.from + by, this.to + by);
  }

  // About the cursor if that is in sight.
  zoom(factor) {
    const seen = this.cursor >= this.from && this.cursor <= this.to;
    const centre = seen ? this.cursor : (this.from + this.to) / 2;
    this.show(centre - (centre - this.from) * factor, centre + (this.to - centre) * factor);
  }

  // Moves the window so that a time is in it.
  reveal(time) {
    if (time < this.from || time > this.to) {
      const half = (this.to - this.from) / 2;
      this.show(time - half, time + half);
    }
  }

  draw() {
    if (!this.recording.level) {
      return;
    }
    for (const panel of this.panels) {
      this.drawPanel(panel);
    }
    this.fitPaper(this.panels[0].chart);
    this.cursorAt(this.cursor);
  }

  // How large all charts are drawn, and how much smaller they are printed; page.css tells why.
  fitPaper({ clientWidth, clientHeight }) {
    const paper = 661; // 17.5 cm
    const { style } = document.getElementById("charts");
    style.setProperty("--drawn-width", `${clientWidth}px`);
    style.setProperty("--drawn-height", `${clientHeight}px`);
    style.setProperty("--on-paper", Math.min(1, paper / clientWidth));
  }

  drawPanel(panel) {
    const { level, manifest, breaks } = this.recording;
    const pixels = Math.max(50, panel.plot.clientWidth - 60);
    const whole = this.to - this.from;
    const data = level.window(panel.columns, this.from, this.to, pixels, breaks);
    const options = {
      file: data,
      dateWindow: [this.from, this.to],
      colors: panel.columns.map((_, i) => korPage.colour(`line-${i + 1}`)),
      gridLineColor: korPage.colour("grid"),
      axisLineColor: korPage.colour("rule"),
      axes: {
        x: { axisLabelFormatter: (time) => korPage.secondsText(time, whole).replace(/\.0+$/, "") + " s" },
        y: { axisLabelWidth: 62, axisLabelFormatter: (value, granularity, opts) => panel.number(value, opts) },
      },
    };
    if (panel.graph) {
      panel.graph.resize();
      panel.graph.updateOptions(options);
      return;
    }
    panel.number = (value) => String(Number(value.toPrecision(9)));
    const labels = ["time", ...panel.columns.map((column) => manifest.charted[column].name)];
    const series = {};
    panel.columns.forEach((column, i) => {
      series[manifest.charted[column].name] = { strokePattern: korPage.dashes[i] };
    });
    panel.graph = new Dygraph(panel.plot, data, {
      ...options,
      labels,
      series,
      legend: "never",
      strokeWidth: 1.4,
      xRangePad: 0,
      yRangePad: 8,
      interactionModel: {},
      highlightCircleSize: 0,
      // A row between two without values is a point of its own.
      drawGapEdgePoints: true,
      pointSize: 1.5,
      underlayCallback: (canvas, area, graph) => this.drawMarks(canvas, area, graph),
    });
    this.describe(panel);
  }

  // Unusable stretches, gaps and the reference, behind the lines.
  drawMarks(canvas, area, graph) {
    const { stretches, gaps, reference } = this.recording.manifest;
    const column = (time) => Math.round(graph.toDomXCoord(time));
    canvas.save();
    canvas.beginPath();
    canvas.rect(area.x, area.y, area.w, area.h);
    canvas.clip();
    const colours = Object.fromEntries(
      ["shade", "shade-soft", "bad", "warn", "good"].map((name) => [name, korPage.colour(name)]),
    );
    let painted = -1;
    for (const { from, to, known } of stretches.list) {
      if (to < this.from || from > this.to) {
        continue;
      }
      const left = Math.max(column(from), painted);
      const right = Math.max(column(to), left + 2);
      canvas.fillStyle = colours[known ? "shade-soft" : "shade"];
      canvas.fillRect(left, area.y, right - left, area.h);
      if (!known) { // in print and to every eye more than a tint
        canvas.fillStyle = colours.bad;
        canvas.fillRect(left, area.y, right - left, 3);
      }
      painted = right;
    }
    canvas.strokeStyle = colours.warn;
    canvas.setLineDash([2, 3]);
    for (const { time } of gaps.list) {
      if (time >= this.from && time <= this.to) {
        const x = column(time) + 0.5;
        canvas.strokeRect(x, area.y, 0, area.h);
      }
    }
    if (reference) {
      canvas.strokeStyle = colours.good;
      canvas.setLineDash([8, 3]);
      canvas.lineWidth = 1.5;
      canvas.strokeRect(column(reference.time) + 0.5, area.y, 0, area.h);
    }
    canvas.restore();
  }

  place(panel, line, time) {
    const out = time === null || time === undefined || time < this.from || time > this.to || !panel.graph;
    line.hidden = out;
    if (!out) {
      line.style.left = `${panel.graph.toDomXCoord(time)}px`;
    }
  }

  cursorAt(time) {
    this.cursor = time;
    for (const panel of this.panels) {
      this.place(panel, panel.hair, time);
    }
  }

  hoverAt(time) {
    for (const panel of this.panels) {
      this.place(panel, panel.hover, time);
    }
  }

  // The values of the cursor's row, as texts by column.
  tellValues(textOf) {
    for (const panel of this.panels) {
      panel.columns.forEach((column, i) => {
        panel.readings[i].textContent = textOf(column);
      });
    }
  }
};

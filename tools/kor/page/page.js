// Fills the page and ties its parts together.
"use strict";

korPage.Page = class {
  constructor(manifest) {
    this.manifest = manifest;
    this.recording = manifest.live ? new korPage.LiveRecording(manifest) : new korPage.Recording(manifest);
    this.live = null;
    this.index = 0; // pose at the cursor
    this.scene = null;
    this.shownStretches = 0;
    document.getElementById("more-stretches").addEventListener("click", () => this.showStretches());
    this.tellFindings();
    this.tellStretches();
    this.tellGaps();
    this.tellError();
    this.tellParameters();
  }

  // Everything from files arrives as text and stays text.
  static element(name, text, className) {
    const element = document.createElement(name);
    if (text !== undefined) {
      element.textContent = text;
    }
    if (className) {
      element.className = className;
    }
    return element;
  }

  static put(id, text) {
    document.getElementById(id).textContent = text;
  }

  static row(cells) {
    const row = document.createElement("tr");
    row.append(
      ...cells.map(([text, className]) =>
        text instanceof Node ? wrapped("td", text) : korPage.Page.element("td", text, className),
      ),
    );
    return row;
    function wrapped(name, node) {
      const cell = document.createElement(name);
      cell.append(node);
      return cell;
    }
  }

  // What somebody has just reached by the keyboard is not taken away.
  static fill(id, ...parts) {
    const element = document.getElementById(id);
    if (!element.contains(document.activeElement)) {
      element.replaceChildren(...parts);
    }
  }

  static listOf(id, findings) {
    const { element } = korPage.Page;
    document.getElementById(id).replaceChildren(
      ...findings.map(({ level, text }) => {
        const item = element("li", undefined, level);
        item.append(element("span", level, "level"), element("span", text));
        return item;
      }),
    );
  }

  tellFindings() {
    const { element, put, row, listOf, fill } = korPage.Page;
    const { title, subtitle, findings, facts, outcomes, contents, resolution } = this.manifest;
    document.title = `${title} - KOR report`;
    put("title", title);
    put("subtitle", subtitle);
    listOf("findings", findings);
    document.getElementById("facts").replaceChildren(
      ...facts.flatMap(({ name, value, code }) => [element("dt", name), element("dd", value, code ? "code" : "")]),
    );
    fill(
      "outcomes",
      ...outcomes.map((outcome) =>
        row([
          [outcome.name],
          [String(outcome.count), "number"],
          [outcome.share, "number"],
          [this.rowButton(outcome.first)],
          [this.rowButton(outcome.last)],
        ]),
      ),
    );
    document.querySelectorAll("#outcomes td:nth-child(n + 4)").forEach((cell) => cell.classList.add("number"));
    put("contents", contents);
    put("resolution", resolution);
    const { sight } = this.manifest;
    document.querySelectorAll(".spatial").forEach((part) => (part.hidden = !sight));
    if (sight) {
      this.tellNote();
    } else {
      put("space-heading", "Values at the cursor");
    }
  }

  tellNote() {
    korPage.Page.put("scene-note", this.manifest.sight.note + ((this.scene && this.scene.complaint) || ""));
  }

  rowButton(row, text = String(row)) {
    const button = korPage.Page.element("button", text, "link");
    button.type = "button";
    button.setAttribute("aria-label", `Put the cursor on row ${row}`);
    button.addEventListener("click", () => this.jumpToRow(row));
    return button;
  }

  tellStretches() {
    const { total, text } = this.manifest.stretches;
    korPage.Page.put("stretches-text", text);
    document.getElementById("stretches-table").hidden = total === 0;
    const wanted = this.shownStretches; // as many as were asked for
    if (document.getElementById("stretches").contains(document.activeElement)) {
      return;
    }
    this.shownStretches = 0;
    document.getElementById("stretches").replaceChildren();
    do {
      this.showStretches();
    } while (this.shownStretches < wanted && this.shownStretches < this.manifest.stretches.list.length);
  }

  // So many more.
  showStretches() {
    const { row } = korPage.Page;
    const { list } = this.manifest.stretches;
    const step = 25;
    const next = list.slice(this.shownStretches, this.shownStretches + step);
    document.getElementById("stretches").append(
      ...next.map((stretch) =>
        row([
          [stretch.outcome],
          [String(stretch.first), "number"],
          [String(stretch.last - stretch.first + 1), "number"],
          [stretch.from.toFixed(3), "number"],
          [stretch.to.toFixed(3), "number"],
          [this.rowButton(stretch.first, "go there")],
        ]),
      ),
    );
    this.shownStretches += next.length;
    document.getElementById("more-stretches").hidden = this.shownStretches >= list.length;
  }

  tellGaps() {
    const { put, row, fill } = korPage.Page;
    const { list, text } = this.manifest.gaps;
    document.getElementById("gaps-section").hidden = list.length === 0;
    put("gaps-text", text);
    fill(
      "gaps",
      ...list
        .slice(0, 100)
        .map((gap) =>
          row([
            [String(gap.row), "number"],
            [gap.time.toFixed(3), "number"],
            [gap.length.toFixed(3), "number"],
            [this.rowButton(gap.row, "go there")],
          ]),
        ),
    );
  }

  tellError() {
    const { put } = korPage.Page;
    const { comparison } = this.manifest;
    if (comparison === null) {
      return;
    }
    document.getElementById("error-section").hidden = false;
    put("error-text", comparison.text);
    put("comparison", comparison.table.join("\n"));
    if (comparison.histogram) {
      const element = document.getElementById("histogram");
      const draw = () => korPage.histogram(element, comparison.histogram);
      draw();
      window.addEventListener("resize", draw);
      put("histogram-caption", comparison.histogram.caption);
    }
  }

  tellParameters() {
    const { put, row, listOf } = korPage.Page;
    const { parameters } = this.manifest;
    if (parameters === null) {
      return;
    }
    document.getElementById("parameters-section").hidden = false;
    put("parameters-text", parameters.text);
    listOf("check", parameters.check);
    document
      .getElementById("parameters")
      .replaceChildren(
        ...parameters.lines.map(({ line, title, content }) =>
          row([[line === 0 ? "" : String(line), "number"], [title], [content]]),
        ),
      );
  }

  // As few digits as read back to the same number, single precision or double.
  static shortest(value, single) {
    if (!single) {
      return String(value);
    }
    for (let digits = 6; digits < 9; ++digits) {
      const text = Number(value.toPrecision(digits));
      if (Math.fround(text) === value) {
        return String(text);
      }
    }
    return String(Number(value.toPrecision(9)));
  }

  async startCharts() {
    await this.recording.readLevel("overview");
    this.charts = new korPage.Charts(document.getElementById("charts"), this.recording, {
      putCursor: (time) => {
        if (this.recording.poses) {
          this.stopFollowing();
          this.jumpTo(this.recording.poses.nearestTime(time));
        }
      },
      moved: () => this.tellWindow(),
    });
    this.makeKey();
    this.tellWindow();
    this.charts.draw();
    performance.mark("kor-first-picture");
  }

  async startCursor() {
    await this.recording.readPoses();
    document.getElementById("slider").max = String(this.recording.poses.length - 1);
    this.listen();
    this.tellPlaying();
    if (this.live) {
      this.putCursor(this.recording.poses.length - 1);
    } else {
      this.jumpTo(this.recording.poses.nearestRow(this.manifest.startRow));
    }
  }

  startScene() {
    const element = document.getElementById("scene");
    if (!this.manifest.sight) {
      return;
    }
    try {
      this.scene = new korPage.Scene(element, this.recording);
      this.scene.show(this.index);
      this.tellScene();
      this.tellNote();
    } catch (error) {
      // Without WebGL the matrix stands beside the place of the picture all the same.
      const text = "This browser cannot draw in three dimensions (WebGL): the matrix stands beside.";
      element.replaceChildren(korPage.Page.element("p", text, "help"));
    }
  }

  async readDetail() {
    if (this.manifest.levels.detail) {
      await this.recording.readLevel("detail");
      this.charts.draw();
    }
    document.documentElement.dataset.ready = "yes";
  }

  makeKey() {
    const item = (text, ...sample) => {
      const entry = document.createElement("li");
      entry.append(korPage.sample(...sample), text);
      return entry;
    };
    const marks = [];
    if (this.manifest.reference) {
      marks.push(item("reference", "good", [8, 3]));
    }
    if (this.manifest.stretches.list.some(({ known }) => !known)) {
      marks.push(item("unusable", "shade", null, 10));
    }
    if (this.manifest.stretches.list.some(({ known }) => known)) {
      marks.push(item("before the reference, or filters filling", "shade-soft", null, 10));
    }
    if (this.manifest.gaps.list.length > 0) {
      marks.push(item("gap", "warn", [2, 3]));
    }
    document.getElementById("marks-key").replaceChildren(...marks);
    document
      .getElementById("scene-key")
      .replaceChildren(
        item("x", "axis-x", null, 3),
        item("y", "axis-y", null, 3),
        item("z, of the tracker and of the base", "axis-z", null, 3),
        item("line of sight", "sight", [5, 3]),
        item("base", "body", null, 8),
        item("stage", "stage", null, 8),
      );
  }

  listen() {
    const on = (id, name, act) => document.getElementById(id).addEventListener(name, act);
    const slider = document.getElementById("slider");
    on("slider", "input", () => {
      this.stopFollowing();
      this.putCursor(Number(slider.value));
    });
    on("step-back", "click", () => this.step(-1));
    on("step-on", "click", () => this.step(1));
    on("play", "click", () => (this.playing ? this.pause() : this.play()));
    on("earlier", "click", () => this.charts.shift(-0.5));
    on("later", "click", () => this.charts.shift(0.5));
    on("zoom-in", "click", () => this.charts.zoom(0.5));
    on("zoom-out", "click", () => this.charts.zoom(2));
    on("zoom-all", "click", () => this.charts.showAll());
    on("follow", "click", () => this.charts.followEnd());
    const repaint = () => {
      this.charts.draw();
      if (this.scene) {
        this.scene.repaint();
      }
    };
    window.matchMedia("(prefers-color-scheme: dark)").addEventListener("change", repaint);
    window.addEventListener("beforeprint", () => {
      document.documentElement.dataset.theme = "light"; // paper is white
      repaint();
    });
    window.addEventListener("afterprint", () => {
      delete document.documentElement.dataset.theme;
      repaint();
    });
  }

  step(by) {
    this.stopFollowing();
    this.jumpTo(Math.min(this.recording.poses.length - 1, Math.max(0, this.index + by)));
  }

  // Whoever chooses a row of a live page wants to look at it.
  stopFollowing() {
    if (this.live && !this.live.hasEnded) {
      this.pause();
    }
  }

  jumpToRow(row) {
    if (this.recording.poses) {
      this.stopFollowing();
      this.jumpTo(this.recording.poses.nearestRow(row));
      document.getElementById("cursor-bar").scrollIntoView({ block: "start" });
      document.getElementById("slider").focus({ preventScroll: true });
    }
  }

  jumpTo(index) {
    this.putCursor(index);
    this.charts.reveal(this.recording.poses.times[index]);
  }

  putCursor(index) {
    const { poses } = this.recording;
    const { element, row, shortest, put } = korPage.Page;
    const { columns, labels, rows } = this.manifest;
    this.index = index;
    const time = poses.times[index];
    const label = labels[poses.labels[index]];
    const where = `row ${poses.rows[index]} of ${rows}, ${time.toFixed(3)} s`;
    const slider = document.getElementById("slider");
    slider.value = String(index);
    slider.setAttribute("aria-valuetext", `${where}, ${label.name}`);
    put("where", `${where} (stamp ${poses.stamps[index]} ms), ${label.name}`);
    put("pose-outcome", label.text);
    if (this.manifest.sight) {
      const m = poses.matrix(index);
      document
        .getElementById("matrix")
        .replaceChildren(...[0, 3, 6].map((i) => row([0, 1, 2].map((j) => [m[i + j].toFixed(9), ""]))));
    }
    document.getElementById("values").replaceChildren(
      ...columns.map(({ name, unit, single }, column) => {
        const line = document.createElement("tr");
        const head = element("th", name);
        head.scope = "row";
        line.append(head, element("td", shortest(poses.value(index, column), single), "number"), element("td", unit));
        return line;
      }),
    );
    this.charts.cursorAt(time);
    this.charts.tellValues((charted) => {
      const { column } = this.manifest.charted[charted];
      return column === null ? "" : shortest(poses.value(index, column), columns[column].single);
    });
    if (this.scene) {
      this.scene.show(index);
      this.tellScene();
    }
  }

  tellScene() {
    const { poses } = this.recording;
    const m = Array.from(poses.matrix(this.index), (value) => value.toFixed(4));
    const columns = [0, 1, 2].map((i) => `base ${"xyz"[i]} along (${m[i]}, ${m[3 + i]}, ${m[6 + i]})`);
    document
      .getElementById("scene")
      .setAttribute("aria-label", `Tracker, line of sight and sensor in row ${poses.rows[this.index]}: ${columns.join(", ")}`);
  }

  tellWindow() {
    const { from, to } = this.charts;
    const [a, b] = [from, to].map((time) => korPage.secondsText(time, to - from));
    korPage.Page.put("window", `${a} s to ${b} s of ${this.recording.duration.toFixed(3)} s`);
  }

  startLive() {
    const { put } = korPage.Page;
    put("kicker", "KOR replay, live");
    put(
      "connections",
      "This page fetches its rows from the running kor replay on this machine and sends nothing else: its security policy " +
        "forbids every other connection.",
    );
    document.getElementById("follow").hidden = false;
    document.getElementById("speed-label").hidden = true;
    document.getElementById("cursor-bar").hidden = true; // until there is a row
    this.playing = true;
  }

  endLive() {
    korPage.Page.put("kicker", "KOR replay, ended");
    document.getElementById("follow").hidden = true;
    document.getElementById("speed-label").hidden = false;
  }

  play() {
    const { poses } = this.recording;
    if (this.live && !this.live.hasEnded) {
      this.playing = true;
      this.tellPlaying();
      this.live.ask();
      return;
    }
    if (this.index >= poses.length - 1) {
      this.putCursor(0);
    }
    this.playing = true;
    this.tellPlaying();
    let last = performance.now();
    let time = poses.times[this.index];
    const step = (now) => {
      if (!this.playing) {
        return;
      }
      time += ((now - last) / 1000) * Number(document.getElementById("speed").value);
      last = now;
      let next = this.index;
      while (next < poses.length - 1 && poses.times[next + 1] <= time) {
        ++next;
      }
      if (next !== this.index) {
        this.jumpTo(next);
      }
      if (next >= poses.length - 1) {
        this.pause();
        return;
      }
      requestAnimationFrame(step);
    };
    requestAnimationFrame(step);
  }

  pause() {
    this.playing = false;
    this.tellPlaying();
  }

  tellPlaying() {
    const button = document.getElementById("play");
    const still = this.live && !this.live.hasEnded ? "Live" : "Play";
    button.textContent = this.playing ? "Pause" : still;
    button.setAttribute("aria-pressed", String(Boolean(this.playing)));
  }
};

korPage.page = new korPage.Page(JSON.parse(document.getElementById("manifest").textContent));
if (typeof DecompressionStream === "undefined" || typeof ResizeObserver === "undefined") {
  const notice = document.getElementById("notice");
  notice.textContent =
    "This browser is too old to unpack the samples of this page: charts, orientation in space and cursor are missing. " +
    "Chromium 80, Firefox 113, Safari 16.4 and later can.";
  notice.hidden = false;
  document.getElementById("cursor-bar").hidden = true;
} else if (korPage.page.manifest.live) {
  document.addEventListener("DOMContentLoaded", () => (korPage.page.live = new korPage.Live(korPage.page)));
} else {
  // The charts come first; what they need stands before the scripts, all else behind.
  korPage.charted = korPage.page.startCharts();
  document.addEventListener("DOMContentLoaded", async () => {
    await korPage.charted;
    await korPage.page.startCursor();
    korPage.page.startScene();
    await korPage.page.readDetail();
  });
}

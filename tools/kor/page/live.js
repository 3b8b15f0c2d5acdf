// The rows of a replay that goes on: received, kept in bounded memory, drawn as they come.
"use strict";

// What the page keeps: so many of the newest rows whole and one by one in the charts; of all rows so many whole ones in
// even steps, and so many points of the charts with the smallest and the largest value of their rows.
korPage.kept = { newest: 65536, thinned: 4096, points: 8192 };

// Seconds that the charts show at first.
korPage.followed = 30;

// Base64 of doubles, least significant byte first.
korPage.doubles = function (text) {
  const bytes = korPage.fromBase64(text);
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  return Float64Array.from({ length: bytes.length / 8 }, (_, i) => view.getFloat64(8 * i, true));
};

// Where the numbers of a whole row stand: number, stamp, seconds, outcome, matrix, values.
korPage.rowHead = { row: 0, stamp: 1, time: 2, label: 3, matrix: 4, values: 13 };

// Whole rows: the thinned ones first, behind them the newest without a break.
korPage.LivePoses = class extends korPage.Poses {
  constructor(width) {
    super();
    const { newest, thinned } = korPage.kept;
    this.width = width;
    this.capacity = thinned + Math.floor(1.25 * newest);
    this.numbers = new Float64Array(this.capacity * width);
    this.all = { rows: Float64Array, stamps: Uint32Array, times: Float64Array, labels: Uint8Array };
    Object.entries(this.all).forEach(([name, Type]) => (this.all[name] = new Type(this.capacity)));
    this.clear(1);
  }

  clear(thinStep) {
    this.count = 0;
    this.thinned = 0; // rows in front that are thinned
    this.thinStep = thinStep;
    this.refresh();
  }

  refresh() {
    Object.entries(this.all).forEach(([name, array]) => (this[name] = array.subarray(0, this.count)));
  }

  // Given  block  whole rows, one behind the other
  append(block) {
    for (let at = 0; at < block.length; at += this.width) {
      if (this.count === this.capacity) {
        this.thin();
      }
      this.put(this.count++, block.subarray(at, at + this.width));
    }
    this.refresh();
  }

  put(index, row) {
    const { all } = this;
    this.numbers.set(row, index * this.width);
    [all.rows[index], all.stamps[index], all.times[index], all.labels[index]] = row;
  }

  // Of the newest rows those that are too many go, and leave one in so many behind.
  thin() {
    const { newest, thinned } = korPage.kept;
    const stay = Math.max(this.thinned, this.count - newest);
    const select = (step) => {
      const chosen = [];
      for (let i = 0; i < stay; ++i) {
        if ((this.all.rows[i] - 1) % step === 0) {
          chosen.push(i);
        }
      }
      return chosen;
    };
    let chosen = select(this.thinStep);
    while (chosen.length > thinned) {
      this.thinStep *= 2;
      chosen = select(this.thinStep);
    }
    const { width, numbers, count } = this;
    chosen.forEach((from, to) => this.put(to, numbers.subarray(from * width, (from + 1) * width)));
    numbers.copyWithin(chosen.length * width, stay * width, count * width);
    Object.values(this.all).forEach((array) => array.copyWithin(chosen.length, stay, count));
    this.thinned = chosen.length;
    this.count = chosen.length + count - stay;
  }

  matrix(index) {
    const at = index * this.width + korPage.rowHead.matrix;
    return this.numbers.subarray(at, at + 9);
  }

  value(index, column) {
    return this.numbers[index * this.width + korPage.rowHead.values + column];
  }
};

// What the charts draw: points that hold the smallest and the largest value of as many rows each, and the newest rows.
korPage.LiveLevel = class {
  constructor(charted, labels) {
    this.charted = charted;
    this.labels = labels;
    const { newest, points } = korPage.kept;
    const columns = (count) => charted.map(() => new Float32Array(count));
    this.capacity = Math.floor(1.25 * newest);
    this.newest = { times: new Float64Array(this.capacity), values: columns(this.capacity), count: 0, first: 0 };
    this.points = { times: new Float64Array(points), lows: columns(points), highs: columns(points), count: 0 };
    this.clear();
  }

  clear() {
    Object.assign(this.newest, { count: 0, first: 0 }); // first: rows in front of these
    Object.assign(this.points, { count: 0, rowsPerPoint: 1, rowsInLast: 1 });
  }

  // Given  rows    that the points stand for
  //        points  for each its time and, column by column, its smallest and its largest value
  replacePoints(rows, rowsPerPoint, points) {
    const width = 1 + 2 * this.charted.length;
    const count = points.length / width;
    Object.assign(this.points, { count, rowsPerPoint, rowsInLast: rows - (count - 1) * rowsPerPoint });
    for (let i = 0; i < count; ++i) {
      this.points.times[i] = points[i * width];
      this.charted.forEach((_, c) => {
        this.points.lows[c][i] = points[i * width + 1 + 2 * c];
        this.points.highs[c][i] = points[i * width + 2 + 2 * c];
      });
    }
  }

  // Given  first  rows in front of the block, whose rows are `width` numbers each
  append(block, width, first, alsoPoints) {
    const { time, label, values } = korPage.rowHead;
    const { newest } = this;
    if (newest.count === 0) {
      newest.first = first;
    }
    for (let at = 0; at < block.length; at += width) {
      if (newest.count === this.capacity) {
        this.dropOldest();
      }
      newest.times[newest.count] = block[at + time];
      const { oriented } = this.labels[block[at + label]];
      this.charted.forEach(({ column, needsOrientation }, c) => {
        const value = block[at + values + column];
        newest.values[c][newest.count] = Number.isFinite(value) && (oriented || !needsOrientation) ? value : NaN;
      });
      if (alsoPoints) {
        this.addToPoints(newest.count);
      }
      ++newest.count;
    }
  }

  dropOldest() {
    const { newest } = this;
    const from = newest.count - korPage.kept.newest;
    newest.times.copyWithin(0, from, newest.count);
    newest.values.forEach((column) => column.copyWithin(0, from, newest.count));
    newest.first += from;
    newest.count -= from;
  }

  addToPoints(at) {
    const { points, newest } = this;
    if (points.count === 0 || points.rowsInLast === points.rowsPerPoint) {
      if (points.count === korPage.kept.points) {
        this.joinPoints();
      }
      points.times[points.count] = newest.times[at];
      [points.lows, points.highs].forEach((columns) => columns.forEach((column) => (column[points.count] = NaN)));
      points.rowsInLast = 0;
      ++points.count;
    }
    ++points.rowsInLast;
    const last = points.count - 1;
    newest.values.forEach((column, c) => {
      points.lows[c][last] = this.smaller(points.lows[c][last], column[at]);
      points.highs[c][last] = -this.smaller(-points.highs[c][last], -column[at]);
    });
  }

  smaller(a, b) {
    return b < a || Number.isNaN(a) ? b : a;
  }

  joinPoints() {
    const { points } = this;
    const count = points.count / 2;
    for (let i = 0; i < count; ++i) {
      points.times[i] = points.times[2 * i];
      points.lows.forEach((column) => (column[i] = this.smaller(column[2 * i], column[2 * i + 1])));
      points.highs.forEach((column) => (column[i] = -this.smaller(-column[2 * i], -column[2 * i + 1])));
    }
    Object.assign(points, { count, rowsPerPoint: 2 * points.rowsPerPoint });
    points.rowsInLast = points.rowsPerPoint;
  }

  // As korPage.Level has it, of single rows if the newest reach back so far.
  window(columns, from, to, pixels, breaks) {
    const { newest, points } = this;
    if (newest.count > 0 && (newest.first === 0 || from >= newest.times[0])) {
      const picked = newest.values.map((column) => column.subarray(0, newest.count));
      const level = new korPage.Level(
        1,
        newest.times.subarray(0, newest.count),
        picked.map((column) => ({ low: column, high: column })),
      );
      return level.window(columns, from, to, pixels, breaks.map((row) => row - newest.first).filter((row) => row > 0));
    }
    const part = (column) => column.subarray(0, points.count);
    const level = new korPage.Level(
      points.rowsPerPoint,
      part(points.times),
      points.lows.map((column, c) => ({ low: part(column), high: part(points.highs[c]) })),
    );
    return level.window(columns, from, to, pixels, breaks);
  }

  // Smallest and largest value of each column so far, null if there is none.
  ranges() {
    const { points } = this;
    return this.charted.map((_, c) => {
      let [least, most] = [NaN, NaN];
      for (let i = 0; i < points.count; ++i) {
        least = this.smaller(least, points.lows[c][i]);
        most = -this.smaller(-most, -points.highs[c][i]);
      }
      return Number.isNaN(least) ? { least: null, most: null } : { least, most };
    });
  }
};

korPage.LiveRecording = class extends korPage.Recording {
  constructor(manifest) {
    super(manifest);
    this.width = korPage.rowHead.values + manifest.columns.length;
    this.poses = new korPage.LivePoses(this.width);
    this.level = new korPage.LiveLevel(manifest.charted, manifest.labels);
    this.rows = 0;
    this.missed = 0; // rows that this page was too slow for
  }

  get duration() {
    const { times } = this.poses;
    return times.length > 0 ? times[times.length - 1] : 0;
  }

  async readLevel() {}

  async readPoses() {}

  replace({ rows, missed, rowsPerPoint, thinStep, points, thinned, newest }) {
    const whole = korPage.doubles(newest);
    const first = rows - whole.length / this.width;
    const thin = korPage.doubles(thinned);
    let end = 0;
    while (end < thin.length && thin[end] <= first) {
      end += this.width;
    }
    this.poses.clear(thinStep);
    this.poses.append(thin.subarray(0, end));
    this.poses.thinned = this.poses.count;
    this.poses.append(whole);
    this.level.clear();
    this.level.replacePoints(rows, rowsPerPoint, korPage.doubles(points));
    this.level.append(whole, this.width, first, false);
    this.missed = missed;
    this.counted(rows);
  }

  append(text) {
    const block = korPage.doubles(text);
    this.poses.append(block);
    this.level.append(block, this.width, this.rows, true);
    this.counted(this.rows + block.length / this.width);
  }

  counted(rows) {
    this.rows = rows;
    Object.assign(this.manifest, { rows, duration: this.duration });
  }

  // What of the rows is still here.
  get resolution() {
    const { newest, points } = this.level;
    const { poses } = this;
    if (newest.first === 0 && poses.thinned === 0) {
      return (
        "The charts hold every row. Where more rows than pixels lie beside each other, the line passes through the " +
        "smallest and the largest value of each pixel."
      );
    }
    return (
      `The page keeps the last ${newest.count} rows one by one. Where the charts go further back, a point stands for ` +
      `${points.rowsPerPoint} rows and shows their smallest and largest value; no extreme is left out. There the cursor ` +
      `reaches every ${poses.thinStep}th row at most.`
    );
  }
};

korPage.Live = class {
  constructor(page) {
    this.page = page;
    this.recording = page.recording;
    this.hasEnded = false;
    this.started = false;
    this.told = {}; // texts of the parts of the state that are on the page
    this.source = new EventSource("/rows");
    const on = (name, act) => this.source.addEventListener(name, act);
    on("snapshot", ({ data }) => this.begin(JSON.parse(data)));
    on("rows", ({ data }) => this.receive(() => this.recording.append(data)));
    on("state", ({ data }) => this.tell(JSON.parse(data)));
    on("open", () => this.notice(""));
    on("error", () =>
      this.notice(
        "The connection to kor replay is lost: it has been ended, or there are too many viewers. What came before stays " +
          "here until the page is closed, and the page goes on asking.",
      ),
    );
    page.startLive();
  }

  // Also when the connection was lost and is there again; by then it may lead to another replay.
  begin(snapshot) {
    if (snapshot.run === this.recording.manifest.run) {
      this.receive(() => this.recording.replace(snapshot));
    } else {
      this.source.close();
      this.notice("Another replay is served at this address now. Load the page again to see it; this one stays as it is.");
    }
  }

  notice(text) {
    const element = document.getElementById("notice");
    element.textContent = text;
    element.hidden = text === "";
  }

  // The cursor stays on its row, wherever that is now, or on the nearest one that is still there.
  receive(take) {
    const { page, recording } = this;
    const row = recording.poses.rows[page.index];
    take();
    if (row !== undefined) {
      page.index = recording.poses.nearestRow(row);
    }
    if (recording.rows > 0) {
      this.ask();
    }
  }

  ask() {
    if (!this.asked) {
      this.asked = true;
      requestAnimationFrame((now) => this.draw(now));
    }
  }

  // The scene for each picture of the screen; charts and tables as fast as they can be read.
  draw(now) {
    this.asked = false;
    if (!this.started) {
      this.started = true;
      this.page.startCharts().then(async () => {
        await this.page.startCursor();
        this.page.startScene();
        document.getElementById("cursor-bar").hidden = false;
        document.documentElement.dataset.ready = "yes";
        this.ready = true;
        this.ask();
      });
    }
    if (!this.ready) {
      return;
    }
    const { page, recording } = this;
    const { poses } = recording;
    const last = poses.length - 1;
    this.placeScene();
    const newest = page.playing && !this.hasEnded;
    if (newest && page.scene) {
      page.scene.show(last);
    }
    if (!(now - this.drawnAt < 200)) {
      this.drawnAt = now;
      document.getElementById("slider").max = String(last);
      page.charts.follow();
      page.putCursor(newest ? last : page.index);
      page.tellWindow();
    } else {
      clearTimeout(this.later); // what is shown last is all that came
      this.later = setTimeout(() => this.ask(), 200);
    }
  }

  // As soon as a row has an orientation, it tells where the sensor stands and from where to look at it.
  placeScene() {
    const { page, recording } = this;
    const { poses, manifest } = recording;
    const last = poses.length - 1;
    if (this.placed || !page.scene || !manifest.labels[poses.labels[last]].oriented) {
      return;
    }
    this.placed = true;
    manifest.startRow = poses.rows[last];
    page.scene.placeRows();
    page.scene.lookAsAtFirst();
    page.tellNote();
  }

  tell(state) {
    const { page, recording } = this;
    const { manifest } = recording;
    if (recording.missed > 0) {
      state.findings.unshift({
        level: "warning",
        text:
          `This page was too slow for ${recording.missed} rows: the charts show their smallest and largest values, and ` +
          "the cursor reaches a part of them. The results themselves are complete.",
      });
    }
    const changed = (name) => {
      const text = JSON.stringify(state[name]);
      const isNew = this.told[name] !== text;
      this.told[name] = text;
      return isNew;
    };
    const names = ["subtitle", "findings", "outcomes", "stretches", "gaps", "reference"];
    const fresh = new Set(names.filter(changed));
    names.forEach((name) => (manifest[name] = state[name]));
    recording.breaks = state.gaps.list.map(({ row }) => row - 1).sort((a, b) => a - b);
    if (fresh.has("stretches")) {
      page.tellStretches();
    }
    if (fresh.has("gaps")) {
      page.tellGaps();
    }
    manifest.resolution = recording.resolution;
    page.tellFindings();
    if (page.charts) {
      page.makeKey();
      recording.level.ranges().forEach((range, c) => Object.assign(manifest.charted[c], range));
      page.charts.panels.forEach((panel) => page.charts.describe(panel));
    }
    if (state.ended) {
      this.source.close();
      page.index = page.playing ? Math.max(0, recording.poses.length - 1) : page.index;
      this.hasEnded = true;
      page.pause();
      page.endLive();
    }
    if (recording.rows > 0) {
      this.ask();
    }
  }
};

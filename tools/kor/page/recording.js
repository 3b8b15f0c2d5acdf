// The rows that the page holds: packed columns, levels of detail, and poses.
"use strict";

const korPage = {};

// Newer browsers have this built in, and much faster.
korPage.fromBase64 = function (text) {
  if (Uint8Array.fromBase64) {
    return Uint8Array.fromBase64(text);
  }
  return Uint8Array.from(atob(text), (character) => character.charCodeAt(0));
};

// A packed block: base64 of a gzip file of byte planes. The n-th plane holds the n-th byte of every number, least
// significant first; numbers of four bytes are the differences, modulo 2^32, from the number before.
korPage.unpack = async function (manifest, name) {
  const type = manifest.blocks[name];
  const element = document.getElementById("block-" + name);
  const packed = korPage.fromBase64(element.textContent);
  element.textContent = ""; // once unpacked, the text is only a burden
  const stream = new Blob([packed]).stream().pipeThrough(new DecompressionStream("gzip"));
  const planes = new Uint8Array(await new Response(stream).arrayBuffer());
  const width = { u8: 1, u32: 4, f32: 4, f64: 8 }[type];
  const count = planes.length / width;
  if (type === "u8") {
    return planes;
  }
  if (type === "f64") {
    const bytes = new Uint8Array(planes.length);
    for (let plane = 0; plane < 8; ++plane) {
      for (let i = 0, from = plane * count; i < count; ++i) {
        bytes[8 * i + plane] = planes[from + i];
      }
    }
    return new Float64Array(bytes.buffer);
  }
  const words = new Uint32Array(count);
  let last = 0;
  for (let i = 0; i < count; ++i) {
    const step =
      planes[i] | (planes[count + i] << 8) | (planes[2 * count + i] << 16) | (planes[3 * count + i] << 24);
    last = (last + step) | 0;
    words[i] = last;
  }
  return type === "f32" ? new Float32Array(words.buffer) : words;
};

// One level of detail. A point stands for so many rows: with one, there is a value; with more, the smallest and the
// largest value of these rows.
korPage.Level = class {
  constructor(rowsPerPoint, times, columns) {
    this.rowsPerPoint = rowsPerPoint;
    this.times = times; // seconds, of the first row of each point, not descending
    this.columns = columns; // one {low, high} for each column; both are the same array where a point is a row
  }

  // First point behind a time.
  behind(time) {
    let low = 0;
    let high = this.times.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.times[middle] <= time) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    return low;
  }

  // What a chart draws of some columns between two times: rows [time, value, ...], where the smallest and the largest
  // value of a stretch of time follow each other if there are more rows than the chart has pixels.
  window(columns, from, to, pixels, breaks) {
    const first = Math.max(0, this.behind(from) - 2);
    const end = Math.min(this.times.length, this.behind(to) + 2);
    const group = Math.max(1, Math.floor((end - first) / Math.max(1, pixels)));
    const pairs = group > 1 || this.rowsPerPoint > 1;
    const picked = columns.map((column) => this.columns[column]);
    const rows = [];
    let next = 0; // break
    while (next < breaks.length && breaks[next] <= first * this.rowsPerPoint) {
      ++next;
    }
    for (let at = first; at < end; at += group) {
      const stop = Math.min(end, at + group);
      if (next < breaks.length && breaks[next] < stop * this.rowsPerPoint) {
        rows.push([this.times[at], ...picked.map(() => NaN)]); // the line is not drawn across missing samples
        while (next < breaks.length && breaks[next] < stop * this.rowsPerPoint) {
          ++next;
        }
      }
      const begin = [this.times[at]];
      const rest = [(this.times[at] + this.times[Math.min(stop, this.times.length - 1)]) / 2];
      for (const { low, high } of picked) {
        let [least, most, leastAt, mostAt] = [NaN, NaN, at, at];
        for (let i = at; i < stop; ++i) {
          if (!(low[i] >= least) && !Number.isNaN(low[i])) {
            [least, leastAt] = [low[i], i];
          }
          if (!(high[i] <= most) && !Number.isNaN(high[i])) {
            [most, mostAt] = [high[i], i];
          }
        }
        // In the order in which they came; within one point that is not known, and the nearer one to the line follows.
        const last = rows.length > 0 ? rows[rows.length - 1][begin.length] : NaN;
        const falls = leastAt === mostAt ? Math.abs(last - most) < Math.abs(last - least) : mostAt < leastAt;
        begin.push(falls ? most : least);
        rest.push(falls ? least : most);
      }
      rows.push(begin);
      if (pairs) {
        rows.push(rest);
      }
    }
    return rows;
  }
};

// All that the page knows of a recording. A live page replaces `level` and `poses` by longer ones.
korPage.Recording = class {
  constructor(manifest) {
    this.manifest = manifest;
    this.level = null;
    this.poses = null;
    this.breaks = manifest.gaps.list.map((gap) => gap.row - 1).sort((a, b) => a - b);
  }

  get duration() {
    return this.manifest.duration;
  }

  async readLevel(name) {
    const { rowsPerPoint, points } = this.manifest.levels[name];
    const [stamps, lows, highs] = await this.read(name, ["times", "lows", "highs"]);
    const times = Float64Array.from(stamps, (milliseconds) => milliseconds / 1000);
    const columns = this.manifest.charted.map((_, i) => ({
      low: lows.subarray(i * points, (i + 1) * points),
      high: (highs || lows).subarray(i * points, (i + 1) * points),
    }));
    this.level = new korPage.Level(rowsPerPoint, times, columns);
  }

  async readPoses() {
    const [rows, stamps, milliseconds, matrices, labels, values] = await this.read("pose", [
      "rows",
      "stamps",
      "times",
      "matrices",
      "labels",
      "values",
    ]);
    const times = Float64Array.from(milliseconds, (time) => time / 1000);
    this.poses = new korPage.Poses(rows, stamps, times, matrices, labels, values);
  }

  // Blocks by the second half of their names; undefined for one that the page does not have.
  read(prefix, names) {
    return Promise.all(
      names.map((name) =>
        `${prefix}-${name}` in this.manifest.blocks ? korPage.unpack(this.manifest, `${prefix}-${name}`) : undefined,
      ),
    );
  }
};

// The rows that the slider reaches, whole.
korPage.Poses = class {
  constructor(rows, stamps, times, matrices, labels, values) {
    Object.assign(this, { rows, stamps, times, matrices, labels, values });
  }

  get length() {
    return this.rows.length;
  }

  // Element (row, column) at 3 row + column.
  matrix(index) {
    return this.matrices.subarray(9 * index, 9 * index + 9);
  }

  value(index, column) {
    return this.values[column * this.length + index];
  }

  // The pose that is nearest to a number among ascending ones.
  nearest(sorted, wanted) {
    let low = 0;
    let high = sorted.length;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (sorted[middle] < wanted) {
        low = middle + 1;
      } else {
        high = middle;
      }
    }
    if (low === sorted.length || (low > 0 && wanted - sorted[low - 1] < sorted[low] - wanted)) {
      --low;
    }
    return Math.max(0, low);
  }

  nearestTime(time) {
    return this.nearest(this.times, time);
  }

  nearestRow(row) {
    return this.nearest(this.rows, row);
  }
};

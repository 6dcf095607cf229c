// Run after browser.js, and the site's texts.js and text_search.js; docs is what documents hold:
// {page: [words]}.

function check(condition, sentence) {
    if (!condition) {
        throw new Error(sentence);
    }
}

function links(query) {
    return search(texts, query).map(function (found) { return found.link.split("#")[0]; });
}

// Words of a document are found in it, each.
var count = 0;
Object.keys(docs).forEach(function (page) {
    docs[page].forEach(function (word) {
        count += 1;
        check(links(word).indexOf(page) >= 0, page + " is not found by " + word);
    });
});

// All words have to be there, in capitals or not, and a title counts most.
var tutorial = links("Attic PRINTERS");
check(tutorial.length === 1 && tutorial[0] === "md_docs_tutorial.html", "attic printers");
check(links("attic no-such-word").length === 0, "a word that is nowhere");
check(links("  ").length === 0, "no word");
check(search(texts, "bracketed")[0].excerpt.indexOf("bracketed") >= 0, "what stands around it");
check(search(texts, "tsession_ask_key")[0].title.indexOf("tsession_ask_key") >= 0, "titles first");

// What the page shows.
var list = document.getElementById("text-found");
var query = document.getElementById("text-query");
query.value = "attic printers";
query.act();
check(list.children.length === 2, "a title and an excerpt");
check(list.children[0].children[0].href.indexOf("md_docs_tutorial.html#") === 0, "a link");
check(document.getElementById("text-count").textContent === "1 section", "how many");
print(count + " words found");
